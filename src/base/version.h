#pragma once

#include <QString>

/// "1.0.12": major, minor, revision, each as a plain decimal number.
QString VersionText();
