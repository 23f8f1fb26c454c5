// The system temperature unit: read from the measurement locale, and followed
// across locale changes of the application.
#include "support/PLVTest.h"

#include <PLVCommon/platform/PLVNotificationCenter.h>
#include <PLVCommon/shared/TQSytemTemperatureSettting.h>

#include <QCoreApplication>
#include <QEvent>

#include <gtest/gtest.h>

#include <memory>

namespace {

// The three variables the unit is read from, each set or unset for one test.
class LocaleEnvironment
{
public:
    explicit LocaleEnvironment(const QByteArray &lang, const QByteArray &measurement = {}, const QByteArray &all = {})
        : m_lang("LANG", lang), m_measurement("LC_MEASUREMENT", measurement), m_all("LC_ALL", all)
    {
    }

private:
    plvtest::ScopedEnv m_lang;
    plvtest::ScopedEnv m_measurement;
    plvtest::ScopedEnv m_all;
};

void sendLocaleChange()
{
    QEvent event(QEvent::LocaleChange);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &event);
}

class TemperatureChanges : public ::testing::Test
{
protected:
    void SetUp() override
    {
        token = PLVNotificationCenter::defaultCenter()->addObserverForName(
            TQSytemTemperatureSettting::didChangeNotification, nullptr,
            [this](const PLVNotification &n) {
                ++posts;
                postedWithObject = postedWithObject || n.object != nullptr;
            });
    }
    void TearDown() override
    {
        PLVNotificationCenter::defaultCenter()->removeObserver(token);
        TQSytemTemperatureSettting::sharedInstance()->setSystemTemperatureUsed(false);
    }

    // Changes the environment the next read sees, then tells the application.
    void switchLocaleTo(const QByteArray &lang)
    {
        setLocale(lang);
        sendLocaleChange();
    }
    // The old variables are restored before the new ones are set.
    void setLocale(const QByteArray &lang)
    {
        env.reset();
        env = std::make_unique<LocaleEnvironment>(lang);
    }

    QObject *token = nullptr;
    int posts = 0;
    bool postedWithObject = false;
    std::unique_ptr<LocaleEnvironment> env;
};

} // namespace

TEST(Temperature, CreationReadsNothing)
{
    const LocaleEnvironment us("en_US.UTF-8");
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    EXPECT_EQ(settings, TQSytemTemperatureSettting::sharedInstance());
    EXPECT_EQ(settings->storedTemperatureSetting(), 0);
    EXPECT_FALSE(settings->systemTemperatureUsed());
    EXPECT_EQ(settings->temperatureSetting(), 1);
    EXPECT_EQ(settings->storedTemperatureSetting(), 1);
}

TEST(Temperature, UnitFollowsTheMeasurementLocale)
{
    struct Case {
        QByteArray lang, measurement, all;
        int expected;
    };
    const Case cases[] = {
        {{}, {}, {}, -1},                               // nothing set
        {"C", {}, {}, -1},
        {"POSIX", {}, {}, -1},
        {"C.UTF-8", {}, {}, -1},
        {"xx_QQ.UTF-8", {}, {}, -1},                    // not a locale anyone knows
        {"en_US.UTF-8", {}, {}, 1},
        {"es_US.UTF-8", {}, {}, 1},
        {"en_GB.UTF-8", {}, {}, 0},                     // imperial, but not the US system
        {"de_DE.UTF-8@euro", {}, {}, 0},
        {"fr_CA", {}, {}, 0},
        {"en_US.UTF-8", "de_DE.UTF-8", {}, 0},          // the measurement category wins over LANG
        {"de_DE.UTF-8", "en_US.UTF-8", {}, 1},
        {"en_US.UTF-8", "", {}, 1},                     // an empty variable counts as unset
        {"en_US.UTF-8", "C", {}, -1},
        {"de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8", 0}, // LC_ALL overrides every category
        {{}, {}, "en_US.UTF-8", 1},
    };
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    for (const Case &c : cases) {
        const LocaleEnvironment env(c.lang, c.measurement, c.all);
        EXPECT_EQ(settings->temperatureSetting(), c.expected)
            << "LANG=" << c.lang.toStdString() << " LC_MEASUREMENT=" << c.measurement.toStdString()
            << " LC_ALL=" << c.all.toStdString();
        EXPECT_EQ(settings->storedTemperatureSetting(), c.expected);
    }
}

TEST_F(TemperatureChanges, AChangeOfUnitPostsOnceAndAKeptUnitPostsNothing)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    setLocale(QByteArray());
    settings->setSystemTemperatureUsed(true);
    EXPECT_TRUE(settings->systemTemperatureUsed());
    EXPECT_EQ(settings->storedTemperatureSetting(), -1) << "subscribing reads the unit";

    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 1);
    EXPECT_FALSE(postedWithObject);
    switchLocaleTo("fr_FR.UTF-8"); // another locale, the same unit
    EXPECT_EQ(posts, 1);
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 2);
    EXPECT_EQ(settings->storedTemperatureSetting(), 1);

    // Other events of the application are not locale changes.
    setLocale("de_DE.UTF-8");
    QEvent other(QEvent::ApplicationFontChange);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &other);
    EXPECT_EQ(posts, 2);
}

TEST_F(TemperatureChanges, UnsubscribingStopsFollowing)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    setLocale("de_DE.UTF-8");
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 0) << "nothing is followed before a client asks";

    settings->setSystemTemperatureUsed(true);
    settings->setSystemTemperatureUsed(false);
    EXPECT_FALSE(settings->systemTemperatureUsed());
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 0);
    EXPECT_EQ(settings->storedTemperatureSetting(), 1) << "no read happened after unsubscribing";
}

TEST_F(TemperatureChanges, SubscribingTwiceRunsTheCheckTwicePerChange)
{
    TQSytemTemperatureSettting *settings = TQSytemTemperatureSettting::sharedInstance();
    setLocale("de_DE.UTF-8");
    const int before = PLVNotificationCenter::defaultCenter()->observerCount();
    settings->setSystemTemperatureUsed(true);
    settings->setSystemTemperatureUsed(true);
    EXPECT_EQ(PLVNotificationCenter::defaultCenter()->observerCount(), before + 2);

    // Both checks run; the first stores the new unit, so the second finds
    // nothing changed.
    switchLocaleTo("en_US.UTF-8");
    EXPECT_EQ(posts, 1);

    // One "false" removes both subscriptions.
    settings->setSystemTemperatureUsed(false);
    EXPECT_EQ(PLVNotificationCenter::defaultCenter()->observerCount(), before);
    switchLocaleTo("de_DE.UTF-8");
    EXPECT_EQ(posts, 1);
}
