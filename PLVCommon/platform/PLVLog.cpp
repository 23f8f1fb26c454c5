#include "PLVLog.h"

Q_LOGGING_CATEGORY(plvPlatform, "plv.platform", QtWarningMsg)
Q_LOGGING_CATEGORY(plvShared, "plv.shared", QtWarningMsg)
Q_LOGGING_CATEGORY(plvCore, "plv.core", QtWarningMsg)
Q_LOGGING_CATEGORY(plvStats, "plv.stats", QtWarningMsg)
