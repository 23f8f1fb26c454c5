#pragma once
#include <QLoggingCategory>

// Logging categories of the library; enable with QT_LOGGING_RULES="plv.*.debug=true".
Q_DECLARE_LOGGING_CATEGORY(plvPlatform)
Q_DECLARE_LOGGING_CATEGORY(plvShared)
Q_DECLARE_LOGGING_CATEGORY(plvCore)
Q_DECLARE_LOGGING_CATEGORY(plvStats)
