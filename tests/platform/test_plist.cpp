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
    EXPECT_EQ(PLVPlist::normalized(value).toMap(), back) << "normalizing gives what a reader of the file gets";
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

TEST(Plist, EmptyMalformedTruncatedOversizedAndNonDictionaryInputIsInvalid)
{
    for (const char *bad : {"", "   \n", "not a plist at all", "bplist00",
                            "<plist><dict><key>a</key></dict></plist>",            // key without value
                            "<plist><dict><integer>1</integer></dict></plist>",    // value without key
                            "<plist><dict><key>a</key><key>b</key><true/></dict></plist>",
                            "<plist><array></dict></plist>", "<plist><dict><!-- never closed"})
        EXPECT_FALSE(PLVPlist::fromData(bad).isValid()) << bad;
    EXPECT_TRUE(PLVPlist::fromData("<plist><dict><key>a</key><true/><key>b</key><dict/></dict></plist>").isValid());
    EXPECT_FALSE(PLVPlist::readFile(QStringLiteral("/nonexistent/file.plist")).isValid());

    const QString arrayRoot = fixturePath(QStringLiteral("plist/array-root.plist"));
    EXPECT_EQ(PLVPlist::readFile(arrayRoot).toList().size(), 3);
    EXPECT_FALSE(PLVPlist::readDictionary(arrayRoot).isValid());

    // Every cut of a valid file before its root closes.
    const QByteArray bin = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.bplist")));
    const QByteArray xml = plvtest::readFile(fixturePath(QStringLiteral("plist/all-types.xml.plist")));
    for (int n = 0; n < bin.size(); ++n)
        EXPECT_FALSE(PLVPlist::fromData(bin.left(n)).isValid()) << "binary cut at " << n;
    for (int n = 0; n < xml.lastIndexOf("</dict>"); ++n)
        EXPECT_FALSE(PLVPlist::fromData(xml.left(n)).isValid()) << "xml cut at " << n;

    // Too large to be a settings file: refused without reading it.
    QTemporaryDir dir;
    QFile huge(dir.filePath(QStringLiteral("huge.plist")));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
    huge.write("<?xml version=\"1.0\"?><plist><dict>");
    ASSERT_TRUE(huge.resize(PLVPlist::kMaxFileSize + 1)); // sparse
    huge.close();
    EXPECT_FALSE(PLVPlist::readFile(huge.fileName()).isValid());
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

TEST(Plist, DeepNestingCyclesAndSharedObjectExplosionsAreRejected)
{
    EXPECT_TRUE(PLVPlist::fromData(nestedXml(100)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(nestedXml(PLVPlist::kMaxDepth + 1)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(nestedXml(200000)).isValid()) << "would overflow the parser's stack";

    auto chain = [](quint32 depth) { // arrays each holding the next
        std::vector<std::vector<quint32>> objects(depth);
        for (quint32 i = 0; i + 1 < depth; ++i)
            objects[i] = {i + 1};
        return binaryArrays(objects, 0);
    };
    EXPECT_TRUE(PLVPlist::fromData(chain(50)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(chain(200000)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{0}}, 0)).isValid()) << "an array that contains itself";
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{1}, {0}}, 0)).isValid());
    EXPECT_FALSE(PLVPlist::fromData(binaryArrays({{7}}, 0)).isValid()) << "a reference past the table";

    // Each level holding the next twice: 2^40 nodes once expanded, but 2^6 is fine.
    auto doubling = [](quint32 levels) {
        std::vector<std::vector<quint32>> dag(levels + 1);
        for (quint32 i = 0; i < levels; ++i)
            dag[i] = {i + 1, i + 1};
        return binaryArrays(dag, 0);
    };
    EXPECT_FALSE(PLVPlist::fromData(doubling(40)).isValid());
    EXPECT_EQ(PLVPlist::fromData(doubling(6)).toList().size(), 2);
}
