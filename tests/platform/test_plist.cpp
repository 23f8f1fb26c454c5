#include "PLVCommon/platform/PLVPlist.h"
#include "support/PLVTest.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QDir>
#include <QPoint>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using plvtest::fixturePath;

namespace {

QVariantMap expectedAllTypes()
{
    QVariantMap nested{{QStringLiteral("deeper"), QStringLiteral("yes")}};
    return {
        {QStringLiteral("string"), QStringLiteral("héllo wörld")},
        {QStringLiteral("integer"), qint64(42)},
        {QStringLiteral("negative"), qint64(-7)},
        {QStringLiteral("big"), qint64((1LL << 40) + 3)},
        {QStringLiteral("real"), 2.5},
        {QStringLiteral("true"), true},
        {QStringLiteral("false"), false},
        {QStringLiteral("date"), QDateTime(QDate(2024, 2, 29), QTime(13, 45, 30), Qt::UTC)},
        {QStringLiteral("data"), QByteArray("\x00\x01\xfe\xff", 4)},
        {QStringLiteral("array"), QVariantList{qint64(1), QStringLiteral("two"), QVariantList{3.0},
                                               QVariantMap{{QStringLiteral("four"), qint64(4)}}}},
        {QStringLiteral("dict"), QVariantMap{{QStringLiteral("nested"), nested}}},
        {QStringLiteral("empty"), QVariantMap{}},
    };
}

// A binary property list made only of arrays: objects[i] lists the indexes it refers to.
QByteArray binaryArrays(const std::vector<std::vector<quint32>> &objects, quint32 top)
{
    auto be = [](QByteArray &out, quint64 v, int size) {
        for (int i = size - 1; i >= 0; --i)
            out.append(char((v >> (8 * i)) & 0xFF));
    };
    QByteArray out("bplist00");
    std::vector<quint64> offsets;
    for (const auto &refs : objects) {
        offsets.push_back(quint64(out.size()));
        if (refs.size() < 15) {
            out.append(char(0xA0 | refs.size()));
        } else {
            out.append(char(0xAF));
            out.append(char(0x12)); // 4-byte count follows
            be(out, refs.size(), 4);
        }
        for (quint32 r : refs)
            be(out, r, 4);
    }
    const quint64 table = quint64(out.size());
    for (quint64 off : offsets)
        be(out, off, 4);
    out.append(QByteArray(6, '\0'));
    out.append(char(4)); // offset size
    out.append(char(4)); // reference size
    be(out, objects.size(), 8);
    be(out, top, 8);
    be(out, table, 8);
    return out;
}

QByteArray nestedXml(int depth)
{
    QByteArray xml("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">");
    for (int i = 0; i < depth; ++i)
        xml += "<array>";
    for (int i = 0; i < depth; ++i)
        xml += "</array>";
    return xml + "</plist>";
}

} // namespace

TEST(Plist, ReadsEveryTypeFromXmlAndBinaryWrittenByAnotherImplementation)
{
    const QVariant xml = PLVPlist::readFile(fixturePath(QStringLiteral("plist/all-types.xml.plist")));
    const QVariant bin = PLVPlist::readFile(fixturePath(QStringLiteral("plist/all-types.bplist")));
    const QVariantMap expected = expectedAllTypes();
    ASSERT_EQ(xml.typeId(), QMetaType::QVariantMap);
    ASSERT_EQ(bin.typeId(), QMetaType::QVariantMap);
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        EXPECT_EQ(xml.toMap().value(it.key()), it.value()) << "xml " << it.key().toStdString();
        EXPECT_EQ(bin.toMap().value(it.key()), it.value()) << "binary " << it.key().toStdString();
        EXPECT_EQ(bin.toMap().value(it.key()).typeId(), it.value().typeId()) << it.key().toStdString();
    }
    EXPECT_EQ(xml.toMap().size(), expected.size());
}

TEST(Plist, WrittenXmlRoundTripsAndIsReadableByPythonPlistlib)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("out.plist"));
    QVariantMap value = expectedAllTypes();
    value.insert(QStringLiteral("beforeEpoch"), QDateTime(QDate(1990, 5, 17), QTime(8, 0, 0), Qt::UTC));
    // Dates are kept to the second, rounded down (also before 2001, where seconds are negative).
    value.insert(QStringLiteral("fraction"), QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 750), Qt::UTC));
    value.insert(QStringLiteral("stringList"), QStringList{QStringLiteral("a"), QStringLiteral("b")});
    value.insert(QStringLiteral("plainInt"), int(-12));
    value.insert(QStringLiteral("float"), float(0.5f));
    ASSERT_TRUE(PLVPlist::writeFile(path, value));

    const QVariantMap back = PLVPlist::readDictionary(path).toMap();
    EXPECT_EQ(back.value(QStringLiteral("beforeEpoch")).toDateTime(), value.value(QStringLiteral("beforeEpoch")).toDateTime());
    EXPECT_EQ(back.value(QStringLiteral("fraction")).toDateTime(), QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59), Qt::UTC));
    EXPECT_EQ(back.value(QStringLiteral("stringList")), (QVariantList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(back.value(QStringLiteral("plainInt")), QVariant(qint64(-12)));
    EXPECT_EQ(back.value(QStringLiteral("float")), QVariant(0.5));
    for (const QString &key : expectedAllTypes().keys())
        EXPECT_EQ(back.value(key), value.value(key)) << key.toStdString();

    const QString script = QStringLiteral(
        "import plistlib,sys,datetime\n"
        "d=plistlib.load(open(sys.argv[1],'rb'))\n"
        "assert d['string']=='h\\u00e9llo w\\u00f6rld', d['string']\n"
        "assert d['negative']==-7 and d['big']==2**40+3 and d['real']==2.5\n"
        "assert d['true'] is True and d['data']==b'\\x00\\x01\\xfe\\xff'\n"
        "assert d['date']==datetime.datetime(2024,2,29,13,45,30)\n"
        "assert d['array'][3]=={'four':4} and d['dict']['nested']['deeper']=='yes'\n"
        "print('ok')\n");
    QProcess py;
    py.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), script, path});
    ASSERT_TRUE(py.waitForFinished(30000));
    EXPECT_EQ(py.exitCode(), 0) << py.readAllStandardError().toStdString();
    EXPECT_EQ(py.readAllStandardOutput().trimmed(), QByteArray("ok"));
}

TEST(Plist, WriteIsAtomicPrivateAndRefusesValuesItCannotHold)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("store.plist"));
    ASSERT_TRUE(PLVPlist::writeFile(path, QVariantMap{{QStringLiteral("a"), 1}}));
    ASSERT_TRUE(PLVPlist::writeFile(path, QVariantMap{{QStringLiteral("b"), 2}}));
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(PLVPlist::readDictionary(path).toMap().keys(), QStringList{QStringLiteral("b")});
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 1) << "no temporary file left behind";

    // A value no property list can hold: nothing is written, the old file stays.
    const QVariantMap bad{{QStringLiteral("point"), QPoint(1, 2)}};
    EXPECT_TRUE(PLVPlist::toXml(bad).isEmpty());
    EXPECT_TRUE(PLVPlist::toXml(QVariantList{QVariant()}).isEmpty());
    EXPECT_FALSE(PLVPlist::writeFile(path, bad));
    EXPECT_EQ(PLVPlist::readDictionary(path).toMap().keys(), QStringList{QStringLiteral("b")});
}

TEST(Plist, EmptyMalformedAndNonDictionaryInputIsInvalid)
{
    EXPECT_FALSE(PLVPlist::fromData(QByteArray()).isValid());
    EXPECT_FALSE(PLVPlist::fromData("   \n").isValid());
    EXPECT_FALSE(PLVPlist::fromData("not a plist at all").isValid());
    EXPECT_FALSE(PLVPlist::fromData("<plist><dict><key>a</key></dict></plist>").isValid()) << "key without value";
    EXPECT_FALSE(PLVPlist::fromData("<plist><dict><key>a</key><integer>1</integer>").isValid());
    EXPECT_FALSE(PLVPlist::fromData("<plist><dict><!-- never closed").isValid());
    EXPECT_FALSE(PLVPlist::fromData("<plist><dict><integer>1</integer></dict></plist>").isValid()) << "value without key";
    EXPECT_FALSE(PLVPlist::fromData("<plist><dict><key>a</key><key>b</key><true/></dict></plist>").isValid());
    EXPECT_FALSE(PLVPlist::fromData("<plist><array></dict></plist>").isValid());
    EXPECT_TRUE(PLVPlist::fromData("<plist><dict><key>a</key><true/><key>b</key><dict/></dict></plist>").isValid());
    EXPECT_FALSE(PLVPlist::fromData("bplist00").isValid());
    EXPECT_FALSE(PLVPlist::readFile(QStringLiteral("/nonexistent/file.plist")).isValid());

    const QString arrayRoot = fixturePath(QStringLiteral("plist/array-root.plist"));
    EXPECT_EQ(PLVPlist::readFile(arrayRoot).toList().size(), 3);
    EXPECT_FALSE(PLVPlist::readDictionary(arrayRoot).isValid());
}

TEST(Plist, EveryTruncationOfAValidFileIsInvalid)
{
    const QByteArray bin = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.bplist")));
    ASSERT_FALSE(bin.isEmpty());
    for (int n = 0; n < bin.size(); ++n)
        EXPECT_FALSE(PLVPlist::fromData(bin.left(n)).isValid()) << "binary cut at " << n;

    const QByteArray xml = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.xml.plist")));
    const int rootClose = xml.lastIndexOf("</dict>");
    ASSERT_GT(rootClose, 0);
    for (int n = 0; n < rootClose; ++n)
        EXPECT_FALSE(PLVPlist::fromData(xml.left(n)).isValid()) << "xml cut at " << n;
}

TEST(Plist, CorruptedBytesNeverCrashAndOnlyPassTheGuardWhenParsed)
{
    const QByteArray bin = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.bplist")));
    const QByteArray xml = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.xml.plist")));
    QRandomGenerator rng(20261122);
    int parsed = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray data = (round % 2) ? bin : xml;
        const int flips = 1 + int(rng.bounded(4));
        for (int f = 0; f < flips; ++f)
            data[int(rng.bounded(quint32(data.size())))] = char(rng.bounded(256));
        const QVariant v = PLVPlist::fromData(data);
        if (v.isValid()) {
            ++parsed;
            EXPECT_TRUE(PLVPlist::isWithinLimits(data));
        }
    }
    // Some mutations land in string contents and still parse; most must not.
    EXPECT_GT(parsed, 0);
    EXPECT_LT(parsed, 3000);
}

TEST(Plist, DeepNestingIsRejectedBeforeItCanExhaustTheStack)
{
    EXPECT_TRUE(PLVPlist::fromData(nestedXml(100)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(nestedXml(PLVPlist::kMaxDepth + 1)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(nestedXml(200000)).isValid());

    // Binary: a chain of arrays each holding the next.
    auto chain = [](quint32 depth) {
        std::vector<std::vector<quint32>> objects(depth);
        for (quint32 i = 0; i + 1 < depth; ++i)
            objects[i] = {i + 1};
        return binaryArrays(objects, 0);
    };
    EXPECT_TRUE(PLVPlist::fromData(chain(50)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(chain(200000)).isValid());
}

TEST(Plist, BinaryCyclesAndSharedObjectExplosionsAreRejected)
{
    // An array that contains itself.
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{0}}, 0)).isValid());
    // Two arrays referring to each other.
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{1}, {0}}, 0)).isValid());
    // A reference past the object table.
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{7}}, 0)).isValid());

    // 40 levels, each array holding the next level twice: 2^40 nodes once expanded.
    std::vector<std::vector<quint32>> dag(41);
    for (quint32 i = 0; i < 40; ++i)
        dag[i] = {i + 1, i + 1};
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays(dag, 0)).isValid());
    // The same shape over 6 levels is small and fine.
    std::vector<std::vector<quint32>> small(7);
    for (quint32 i = 0; i < 6; ++i)
        small[i] = {i + 1, i + 1};
    const QVariant ok = PLVPlist::fromData(binaryArrays(small, 0));
    ASSERT_TRUE(ok.isValid());
    EXPECT_EQ(ok.toList().size(), 2);
}

TEST(Plist, OversizedFilesAreRefusedWithoutReadingThem)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("huge.plist"));
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("<?xml version=\"1.0\"?><plist><dict>");
    ASSERT_TRUE(f.resize(PLVPlist::kMaxFileSize + 1)); // sparse
    f.close();
    EXPECT_FALSE(PLVPlist::readFile(path).isValid());
    EXPECT_FALSE(PLVPlist::readDictionary(path).isValid());
}
