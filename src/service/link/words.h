#pragma once

#include <QCoreApplication>

namespace zephyl::link {

/// The link's sentences for people, in their language. Any thread.
struct LinkWords {
    Q_DECLARE_TR_FUNCTIONS(Link)
};

}  // namespace zephyl::link
