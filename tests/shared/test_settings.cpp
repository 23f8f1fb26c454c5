#include "PLVCommon/platform/PLVGroupContainer.h"
#include "PLVCommon/platform/PLVPlist.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>

using plvtest::TempGroupContainer;

namespace {

int modeOf(const QString &path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return int(st.st_mode & 07777);
}

QStringList corruptCopies(const QString &prefs)
{
    const QFileInfo fi(prefs);
    return QDir(fi.absolutePath()).entryList({fi.fileName() + QStringLiteral(".corrupt-*")}, QDir::Files);
}

// Captures warnings for the life of the object.
class WarningCatcher
{
public:
    WarningCatcher() { s_messages.clear(); m_previous = qInstallMessageHandler(&handler); }
    ~WarningCatcher() { qInstallMessageHandler(m_previous); }
    static QStringList messages() { return s_messages; }

private:
    static void handler(QtMsgType type, const QMessageLogContext &, const QString &msg)
    {
        if (type == QtWarningMsg)
            s_messages << msg;
    }
    static inline QStringList s_messages;
    QtMessageHandler m_previous = nullptr;
};

} // namespace

// Writes `count` keys "<prefix>-<i>" = i, one write each, into the group store.
PLV_TEST_CHILD(settings_writer)
{
    const QString prefix = args.value(0);
    const int count = args.value(1).toInt();
    for (int i = 0; i < count; ++i)
        UserDefaultsExtras::updateThePrefDicoWithInteger(i, prefix + QLatin1Char('-') + QString::number(i));
    return 0;
}

TEST(Settings, ValuesOfEveryKindRoundTripThroughTheGroupStore)
{
    TempGroupContainer container;
    EXPECT_FALSE(UserDefaultsExtras::urlPathToPreferencesGroup());
    EXPECT_FALSE(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")).isValid());
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("todayShowMoreGeneric")).toLongLong(), 0);

    UserDefaultsExtras::updateThePrefDico(1, QStringLiteral("todayShowMoreGeneric"));
    UserDefaultsExtras::updateThePrefDicoWithDouble(1.5, QStringLiteral("plvSlideInterval"));
    UserDefaultsExtras::updateThePrefDicoWithInteger(-3, QStringLiteral("negative"));
    UserDefaultsExtras::updateThePrefDicoWithObject(QVariantMap{{QStringLiteral("todayWidget"), 1}},
                                                    QStringLiteral("com.tallowcrest.plvCPU"));
    UserDefaultsExtras::updateThePrefArrayWithObject({QStringLiteral("a"), 2}, QStringLiteral("list"));

    EXPECT_TRUE(UserDefaultsExtras::urlPathToPreferencesGroup());
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("todayShowMoreGeneric")).toLongLong(), 1);
    EXPECT_FLOAT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")).toFloat(), 1.5f);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("negative")).toLongLong(), -3);
    EXPECT_EQ(UserDefaultsExtras::appUserDefaults().dictionaryForKey(QStringLiteral("com.tallowcrest.plvCPU"))
                  .value(QStringLiteral("todayWidget")).toLongLong(), 1);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("list")).toList(),
              (QVariantList{QStringLiteral("a"), qint64(2)}));

    // Removing a key through an empty object.
    UserDefaultsExtras::updateThePrefDicoWithObject(QVariant(), QStringLiteral("negative"));
    EXPECT_FALSE(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("negative")).isValid());

    // The file is where every process looks, private to the user, and a plain property list.
    const QString prefs = PLVGroupContainer::preferencesFilePath();
    EXPECT_EQ(prefs, container.preferencesFile());
    EXPECT_EQ(modeOf(prefs), 0600);
    EXPECT_EQ(modeOf(container.path() + QStringLiteral("/group")), 0700);
    EXPECT_EQ(modeOf(container.path() + QStringLiteral("/group/Library")), 0700);
    EXPECT_EQ(modeOf(container.path() + QStringLiteral("/group/Library/Preferences")), 0700);
    EXPECT_EQ(PLVPlist::readDictionary(prefs).toMap().value(QStringLiteral("todayShowMoreGeneric")), QVariant(qint64(1)));
}

TEST(Settings, ConcurrentWritersInSeparateProcessesLoseNoKey)
{
    TempGroupContainer container;
    constexpr int writers = 4;
    constexpr int keys = 200;
    QList<QProcess *> procs;
    for (int w = 0; w < writers; ++w) {
        auto *p = new QProcess;
        p->start(QCoreApplication::applicationFilePath(),
                 {QStringLiteral("--plv-child"), QStringLiteral("settings_writer"),
                  QStringLiteral("w%1").arg(w), QString::number(keys)});
        procs << p;
    }
    for (QProcess *p : procs) {
        ASSERT_TRUE(p->waitForFinished(120000));
        EXPECT_EQ(p->exitCode(), 0) << p->readAllStandardError().toStdString();
        delete p;
    }
    const QVariantMap all = UserDefaultsExtras::appUserDefaults().dictionaryRepresentation();
    EXPECT_EQ(all.size(), writers * keys);
    for (int w = 0; w < writers; ++w)
        for (int i = 0; i < keys; ++i)
            ASSERT_EQ(all.value(QStringLiteral("w%1-%2").arg(w).arg(i)), QVariant(qint64(i))) << w << "/" << i;
    EXPECT_TRUE(corruptCopies(container.preferencesFile()).isEmpty());
}

TEST(Settings, AReaderSeesAnotherProcesssWriteAtOnce)
{
    TempGroupContainer container;
    UserDefaultsExtras::updateThePrefDicoWithInteger(1, QStringLiteral("k-0"));
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("k-0")).toLongLong(), 1);
    const auto r = plvtest::runChild(QStringLiteral("settings_writer"), {QStringLiteral("k"), QStringLiteral("2")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("k-0")).toLongLong(), 0);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("k-1")).toLongLong(), 1);
}

TEST(Settings, ACorruptStoreReadsEmptyAndIsKeptAsideOnTheNextWrite)
{
    TempGroupContainer container;
    const QString prefs = container.preferencesFile();
    ASSERT_TRUE(PLVGroupContainer::ensureFolder(QFileInfo(prefs).absolutePath()));
    const QByteArray garbage("<?xml version=\"1.0\"?><plist><dict><key>lost</key><integer>1");
    ASSERT_TRUE(plvtest::writeFile(prefs, garbage));

    EXPECT_FALSE(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("lost")).isValid());
    EXPECT_TRUE(UserDefaultsExtras::appUserDefaults().dictionaryRepresentation().isEmpty());

    WarningCatcher warnings;
    UserDefaultsExtras::updateThePrefDicoWithInteger(7, QStringLiteral("fresh"));
    UserDefaultsExtras::updateThePrefDicoWithInteger(8, QStringLiteral("fresher"));

    const QStringList copies = corruptCopies(prefs);
    ASSERT_EQ(copies.size(), 1);
    EXPECT_EQ(plvtest::readFile(QFileInfo(prefs).absolutePath() + QLatin1Char('/') + copies.first()), garbage);
    EXPECT_EQ(WarningCatcher::messages().size(), 1) << WarningCatcher::messages().join(QLatin1Char('\n')).toStdString();
    const QVariantMap now = UserDefaultsExtras::appUserDefaults().dictionaryRepresentation();
    EXPECT_EQ(now.value(QStringLiteral("fresh")).toLongLong(), 7);
    EXPECT_EQ(now.value(QStringLiteral("fresher")).toLongLong(), 8);
    EXPECT_EQ(now.size(), 2);
}

TEST(Settings, UnreadableStoresAreKeptAsideButEmptyFilesSimplyReplaced)
{
    TempGroupContainer folderInstead; // a folder where the file should be cannot be read
    const QString prefs = folderInstead.preferencesFile();
    ASSERT_TRUE(PLVGroupContainer::ensureFolder(prefs));
    EXPECT_TRUE(UserDefaultsExtras::appUserDefaults().dictionaryRepresentation().isEmpty());
    UserDefaultsExtras::updateThePrefDicoWithInteger(1, QStringLiteral("a"));
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("a")).toLongLong(), 1);
    EXPECT_EQ(QDir(QFileInfo(prefs).absolutePath()).entryList({QStringLiteral("*.corrupt-*")}, QDir::Dirs).size(), 1);

    TempGroupContainer empty;
    ASSERT_TRUE(PLVGroupContainer::ensureFolder(QFileInfo(empty.preferencesFile()).absolutePath()));
    ASSERT_TRUE(plvtest::writeFile(empty.preferencesFile(), QByteArray()));
    UserDefaultsExtras::updateThePrefDicoWithInteger(1, QStringLiteral("a"));
    EXPECT_TRUE(corruptCopies(empty.preferencesFile()).isEmpty()) << "an empty file holds nothing worth keeping";
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("a")).toLongLong(), 1);
}

TEST(Settings, MigrationCopiesTheOldFileOnceAndAlwaysCreatesTheGroupFile)
{
    const QString legacy = UserDefaultsExtras::legacyPreferencesFilePath();
    ASSERT_EQ(legacy, QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME")) + QStringLiteral("/com.tallowcrest.cobaltwing.plist"));
    QDir().mkpath(QFileInfo(legacy).absolutePath());
    {
        // Neither file: an empty group file, and the migration is never tried again.
        TempGroupContainer container;
        QFile::remove(legacy);
        UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();
        EXPECT_TRUE(PLVPlist::readDictionary(container.preferencesFile()).isValid());
        PLVPlist::writeFile(legacy, QVariantMap{{QStringLiteral("tooLate"), 1}});
        UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();
        EXPECT_FALSE(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("tooLate")).isValid());
    }
    TempGroupContainer container;
    ASSERT_TRUE(PLVPlist::writeFile(legacy, QVariantMap{{QStringLiteral("plvSlideInterval"), 3.0},
                                                        {QStringLiteral("com.tallowcrest.plvMEM"),
                                                         QVariantMap{{QStringLiteral("todayWidget"), 1}}}}));
    UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();
    EXPECT_DOUBLE_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")).toDouble(), 3.0);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("com.tallowcrest.plvMEM")).toMap()
                  .value(QStringLiteral("todayWidget")).toLongLong(), 1);
    // Once the group file exists the old file is never read again.
    PLVPlist::writeFile(legacy, QVariantMap{{QStringLiteral("late"), 1}});
    UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();
    EXPECT_FALSE(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("late")).isValid());
    QFile::remove(legacy);
}

TEST(Settings, ContainerLocationFollowsTheOverrideThenXdgDataHome)
{
    const QString group = QStringLiteral("/group-containers/Q4HZ8RMW2C.com.tallowcrest.cobaltwing");
    {
        plvtest::ScopedEnv override("PLV_GROUP_CONTAINER", "/tmp/some/where/");
        EXPECT_EQ(PLVGroupContainer::notificationsFolderPath(), QStringLiteral("/tmp/some/where/Library/Notifications"));
    }
    plvtest::ScopedEnv noOverride("PLV_GROUP_CONTAINER", QByteArray());
    plvtest::ScopedEnv home("HOME", "/home/someone");
    {
        plvtest::ScopedEnv data("XDG_DATA_HOME", "/srv/data");
        EXPECT_EQ(PLVGroupContainer::preferencesFilePath(),
                  QStringLiteral("/srv/data") + group + QStringLiteral("/Library/Preferences/Q4HZ8RMW2C.com.tallowcrest.cobaltwing.plist"));
    }
    plvtest::ScopedEnv relative("XDG_DATA_HOME", "relative/ignored");
    EXPECT_EQ(PLVGroupContainer::containerPath(), QStringLiteral("/home/someone/.local/share") + group);
}
