#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "support/PLVTest.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

// How the widget host runs: under an application class of its own.
class WidgetHostApplication : public QApplication
{
    Q_OBJECT
public:
    using QApplication::QApplication;
};

int report()
{
    std::printf("%s", TQIsTodayExtenstion::isTodayExtention() ? "widget" : "monitor");
    return 0;
}

} // namespace

PLV_TEST_CHILD(host_as_widget)
{
    WidgetHostApplication app(plvtest::childArgc, plvtest::childArgv);
    return report();
}

PLV_TEST_CHILD(host_as_core)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    return report();
}

PLV_TEST_CHILD(host_without_application) { return report(); }

// The answer is not remembered: replacing the application object changes it.
PLV_TEST_CHILD(host_replaced)
{
    {
        WidgetHostApplication widget(plvtest::childArgc, plvtest::childArgv);
        report();
    }
    std::printf(",");
    QApplication monitor(plvtest::childArgc, plvtest::childArgv);
    return report();
}

TEST(HostDetection, OnlyExactlyQApplicationIsTheMonitorApplication)
{
    EXPECT_FALSE(TQIsTodayExtenstion::isTodayExtention()) << "the test program runs under QApplication";

    const auto widget = plvtest::runChild(QStringLiteral("host_as_widget"));
    EXPECT_EQ(widget.out, QByteArray("widget")) << widget.err.toStdString();
    const auto core = plvtest::runChild(QStringLiteral("host_as_core"));
    EXPECT_EQ(core.out, QByteArray("widget")) << "any other application class counts as a widget host";
    const auto none = plvtest::runChild(QStringLiteral("host_without_application"));
    EXPECT_EQ(none.out, QByteArray("monitor"));
    const auto replaced = plvtest::runChild(QStringLiteral("host_replaced"));
    EXPECT_EQ(replaced.out, QByteArray("widget,monitor")) << replaced.err.toStdString();
}

#include "test_host.moc"
