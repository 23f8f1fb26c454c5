// The system temperature unit: read from the measurement locale, and followed
// across locale changes of the application.
#include "support/PLVTest.h"

#include <PLVCommon/platform/PLVNotificationCenter.h>
#include <PLVCommon/shared/TQSytemTemperatureSettting.h>

#include <QCoreApplication>
#include <QEvent>

#include <gtest/gtest.h>

#include <optional>

namespace {

// Sets the three variables the unit is read from (a null value unsets one).
struct LocaleEnvironment {
    explicit LocaleEnvironment(const QByteArray &lang, const QByteArray &measurement = {}, const QByteArray &all = {})
        : lang("LANG", lang), measurement("LC_MEASUREMENT", measurement), all("LC_ALL", all)
    {
    }
    plvtest::ScopedEnv lang, measurement, all;
};

} // namespace

TEST(Temperature, UnitFollowsTheMeasurementLocale)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    EXPECT_EQ(settings->storedTemperatureSetting(), 0) << "creation reads nothing";
    const struct {
        QByteArray lang, measurement, all;
        int expected;
    } cases[] = {
        {"xx_QQ.UTF-8", {}, {}, -1},                    // a locale nobody knows
        {{}, {}, {}, 0}, {"C", {}, {}, 0}, {"POSIX", {}, {}, 0}, {"C.UTF-8", {}, {}, 0}, // C is metric
        {"en_US.UTF-8", {}, {}, 1}, {"es_US.UTF-8", {}, {}, 1},
        {"en_GB.UTF-8", {}, {}, 0},                     // imperial, but not the US system
        {"de_DE.UTF-8@euro", {}, {}, 0}, {"fr_CA", {}, {}, 0},
        {"en_US.UTF-8", "de_DE.UTF-8", {}, 0},          // the measurement category beats LANG
        {"de_DE.UTF-8", "en_US.UTF-8", {}, 1},
        {"en_US.UTF-8", "", {}, 1},                     // empty counts as unset
        {"en_US.UTF-8", "C", {}, 0},
        {"de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8", 0}, // LC_ALL beats every category
        {{}, {}, "en_US.UTF-8", 1},
    };
    for (const auto &c : cases) {
        const LocaleEnvironment env(c.lang, c.measurement, c.all);
        EXPECT_EQ(settings->temperatureSetting(), c.expected) << "LANG=" << c.lang.toStdString()
            << " LC_MEASUREMENT=" << c.measurement.toStdString() << " LC_ALL=" << c.all.toStdString();
        EXPECT_EQ(settings->storedTemperatureSetting(), c.expected);
    }
}

TEST(Temperature, FollowedOnlyWhileSubscribedAndPostedOnlyWhenTheUnitChanges)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    PLVNotificationCenter *local = PLVNotificationCenter::defaultCenter();
    int posts = 0;
    bool withObject = false;
    QObject *token = local->addObserverForName(TQSytemTemperatureSettting::didChangeNotification, nullptr,
                                               [&](const PLVNotification &n) { ++posts, withObject |= n.object != nullptr; });
    const int before = local->observerCount();
    // The old variables are restored before the new ones are set.
    std::optional<LocaleEnvironment> env;
    const auto setLocale = [&](const QByteArray &lang) { env.reset(), env.emplace(lang); };
    const auto switchLocaleTo = [&](const QByteArray &lang, QEvent::Type type = QEvent::LocaleChange) {
        setLocale(lang);
        QEvent event(type);
        QCoreApplication::sendEvent(QCoreApplication::instance(), &event);
    };
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 0) << "not followed before subscribing";

    setLocale("xx_QQ.UTF-8");
    settings->setSystemTemperatureUsed(true);
    EXPECT_EQ(settings->storedTemperatureSetting(), -1) << "subscribing reads the unit";
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 1);
    EXPECT_FALSE(withObject);
    switchLocaleTo("fr_FR.UTF-8"); // another locale, the same unit
    EXPECT_EQ(posts, 1);
    switchLocaleTo("en_US.UTF-8", QEvent::ApplicationFontChange); // not a locale change
    EXPECT_EQ(posts, 1);

    // Subscribing twice checks twice; the first check stores the new unit, so the second finds no change.
    settings->setSystemTemperatureUsed(true);
    EXPECT_EQ(local->observerCount(), before + 2);
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 2);

    settings->setSystemTemperatureUsed(false); // removes both
    EXPECT_FALSE(settings->systemTemperatureUsed());
    EXPECT_EQ(local->observerCount(), before);
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 2);
    EXPECT_EQ(settings->storedTemperatureSetting(), 0) << "no read after unsubscribing";
    local->removeObserver(token);
}
