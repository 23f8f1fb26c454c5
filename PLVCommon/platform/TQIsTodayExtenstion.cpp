#include "TQIsTodayExtenstion.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <cstring>

bool TQIsTodayExtenstion::isTodayExtention()
{
    // Asked afresh each time: the application object may be replaced.
    const QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return false;
    return std::strcmp(app->metaObject()->className(), "QApplication") != 0;
}
