#pragma once

#include <QString>

/// A control whose member name is its objectName. The parent owns it.
template <class W, class Parent>
W* Named(Parent* parent, const char* name)
{
    auto* control = new W(parent);
    control->setObjectName(QLatin1String(name));
    return control;
}
