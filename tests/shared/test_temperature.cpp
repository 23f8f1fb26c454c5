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

class TemperatureChanges : public ::testing::Test
{
protected:
    void SetUp() override
    {
        token = PLVNotificationCenter::defaultCenter()->addObserverForName(
            TQSytemTemperatureSettting::didChangeNotification, nullptr, [this](const PLVNotification &n) {
                ++posts;
                withObject = withObject || n.object;
            });
    }
    void TearDown() override { PLVNotificationCenter::defaultCenter()->removeObserver(token); }

    // The old variables are restored before the new ones are set.
    void setLocale(const QByteArray &lang) { env.reset(), env.emplace(lang); }
    void switchLocaleTo(const QByteArray &lang)
    {
        setLocale(lang);
        QEvent event(QEvent::LocaleChange);
        QCoreApplication::sendEvent(QCoreApplication::instance(), &event);
    }

    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    QObject *token = nullptr;
    int posts = 0;
    bool withObject = false;
    std::optional<LocaleEnvironment> env;
};

} // namespace

TEST(Temperature, UnitFollowsTheMeasurementLocale)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    EXPECT_EQ(settings->storedTemperatureSetting(), 0) << "creation reads nothing";
    struct Case {
        QByteArray lang, measurement, all;
        int expected;
    } const cases[] = {
        {{}, {}, {}, -1}, {"C", {}, {}, -1}, {"POSIX", {}, {}, -1}, {"C.UTF-8", {}, {}, -1},
        {"xx_QQ.UTF-8", {}, {}, -1},                    // a locale nobody knows
        {"en_US.UTF-8", {}, {}, 1}, {"es_US.UTF-8", {}, {}, 1},
        {"en_GB.UTF-8", {}, {}, 0},                     // imperial, but not the US system
        {"de_DE.UTF-8@euro", {}, {}, 0}, {"fr_CA", {}, {}, 0},
        {"en_US.UTF-8", "de_DE.UTF-8", {}, 0},          // the measurement category beats LANG
        {"de_DE.UTF-8", "en_US.UTF-8", {}, 1},
        {"en_US.UTF-8", "", {}, 1},                     // empty counts as unset
        {"en_US.UTF-8", "C", {}, -1},
        {"de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8", 0}, // LC_ALL beats every category
        {{}, {}, "en_US.UTF-8", 1},
    };
    for (const Case &c : cases) {
        const LocaleEnvironment env(c.lang, c.measurement, c.all);
        EXPECT_EQ(settings->temperatureSetting(), c.expected) << "LANG=" << c.lang.toStdString()
            << " LC_MEASUREMENT=" << c.measurement.toStdString() << " LC_ALL=" << c.all.toStdString();
        EXPECT_EQ(settings->storedTemperatureSetting(), c.expected);
    }
}

TEST_F(TemperatureChanges, AChangeOfUnitPostsOnceAndAKeptUnitPostsNothing)
{
    setLocale({});
    settings->setSystemTemperatureUsed(true);
    EXPECT_EQ(settings->storedTemperatureSetting(), -1) << "subscribing reads the unit";

    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 1);
    EXPECT_FALSE(withObject);
    switchLocaleTo("fr_FR.UTF-8"); // another locale, the same unit
    EXPECT_EQ(posts, 1);
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 2);

    setLocale("de_DE.UTF-8");
    QEvent other(QEvent::ApplicationFontChange); // not a locale change
    QCoreApplication::sendEvent(QCoreApplication::instance(), &other);
    EXPECT_EQ(posts, 2);
}

TEST_F(TemperatureChanges, NothingIsFollowedBeforeSubscribingOrAfterUnsubscribing)
{
    setLocale("de_DE.UTF-8");
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 0);

    settings->setSystemTemperatureUsed(true);
    settings->setSystemTemperatureUsed(false);
    EXPECT_FALSE(settings->systemTemperatureUsed());
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 0);
    EXPECT_EQ(settings->storedTemperatureSetting(), 1) << "no read after unsubscribing";
}

TEST_F(TemperatureChanges, SubscribingTwiceRunsTheCheckTwicePerChange)
{
    setLocale("de_DE.UTF-8");
    const int before = PLVNotificationCenter::defaultCenter()->observerCount();
    settings->setSystemTemperatureUsed(true);
    settings->setSystemTemperatureUsed(true);
    EXPECT_EQ(PLVNotificationCenter::defaultCenter()->observerCount(), before + 2);

    // The first check stores the new unit, so the second finds no change.
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 1);

    settings->setSystemTemperatureUsed(false); // removes both
    EXPECT_EQ(PLVNotificationCenter::defaultCenter()->observerCount(), before);
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 1);
}
