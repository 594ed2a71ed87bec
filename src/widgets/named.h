#pragma once
// How a window makes its controls. The parent owns them.

#include <QRect>
#include <QString>

/// A control whose member name is its objectName.
template <class W, class Parent>
W* Named(Parent* parent, const char* name)
{
    auto* control = new W(parent);
    control->setObjectName(QLatin1String(name));
    return control;
}

/// The same at a place of its own, in the parent's pixels.
template <class W, class Parent>
W* Placed(Parent* parent, const char* name, const QRect& at)
{
    W* control = Named<W>(parent, name);
    control->setGeometry(at);
    return control;
}
