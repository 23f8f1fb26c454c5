#include "PLVPlist.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QStringList>
#include <QTimeZone>

#include <plist/plist.h>

#include <cstring>
#include <limits>
#include <vector>

namespace {

// Seconds between the Unix epoch and the property-list epoch (2001-01-01 UTC).
constexpr qint64 kPlistEpochOffset = 978307200;

struct PlistDeleter {
    void operator()(plist_t p) const { if (p) plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// --- Structural guard -------------------------------------------------------
// libplist parses recursively and expands shared binary objects, so deep
// nesting overflows its stack and reference cycles or DAGs explode. Both are
// measured here without recursion before libplist sees the bytes.

// Checks nesting depth, element count and that dictionaries alternate key
// and value (libplist silently drops a key that has no value).
bool xmlWithinLimits(const QByteArray &data)
{
    const char *p = data.constData();
    const char *end = p + data.size();
    struct Frame {
        bool isDict;
        bool expectKey;
    };
    std::vector<Frame> stack;
    bool inScalar = false;
    qint64 elements = 0;
    auto startsWith = [&](const char *at, const char *lit) {
        const size_t n = std::strlen(lit);
        return size_t(end - at) >= n && std::memcmp(at, lit, n) == 0;
    };
    auto isName = [&](const char *at, const char *lit) {
        const size_t n = std::strlen(lit);
        return startsWith(at, lit) && (at + n == end || at[n] == '>' || at[n] == '/' || at[n] == ' ' || at[n] == '\t'
                                       || at[n] == '\n' || at[n] == '\r');
    };
    auto find = [&](const char *from, const char *lit) -> const char * {
        const size_t n = std::strlen(lit);
        for (const char *q = from; size_t(end - q) >= n; ++q)
            if (std::memcmp(q, lit, n) == 0)
                return q + n;
        return nullptr;
    };
    // A value or key appearing directly inside a dictionary must alternate.
    auto childOfDict = [&](bool isKey) {
        if (stack.empty() || !stack.back().isDict || inScalar)
            return true;
        Frame &f = stack.back();
        if (f.expectKey != isKey)
            return false;
        f.expectKey = !f.expectKey;
        return true;
    };
    while (p < end) {
        p = static_cast<const char *>(std::memchr(p, '<', size_t(end - p)));
        if (!p)
            break;
        if (startsWith(p, "<!--")) {
            p = find(p + 4, "-->");
            if (!p)
                return false;
            continue;
        }
        if (startsWith(p, "<![CDATA[")) {
            p = find(p + 9, "]]>");
            if (!p)
                return false;
            continue;
        }
        const char *gt = static_cast<const char *>(std::memchr(p, '>', size_t(end - p)));
        if (!gt)
            return false;
        if (p + 1 < end && (p[1] == '?' || p[1] == '!')) {
            p = gt + 1;
            continue;
        }
        const bool closing = p[1] == '/';
        const char *name = p + (closing ? 2 : 1);
        const bool selfClosing = gt[-1] == '/';
        const bool isDict = isName(name, "dict");
        const bool container = isDict || isName(name, "array");
        const bool isPlist = isName(name, "plist");
        if (closing) {
            if (container) {
                if (stack.empty() || stack.back().isDict != isDict || !stack.back().expectKey)
                    return false;
                stack.pop_back();
            } else if (!isPlist) {
                inScalar = false;
            }
        } else if (!isPlist) {
            if (++elements > PLVPlist::kMaxObjects)
                return false;
            if (!childOfDict(isName(name, "key")))
                return false;
            if (container && !selfClosing) {
                stack.push_back({isDict, true});
                if (int(stack.size()) > PLVPlist::kMaxDepth)
                    return false;
            } else if (!container && !selfClosing) {
                inScalar = true;
            }
        }
        p = gt + 1;
    }
    return stack.empty();
}

quint64 readBigEndian(const uchar *p, int size)
{
    quint64 v = 0;
    for (int i = 0; i < size; ++i)
        v = (v << 8) | p[i];
    return v;
}

bool binaryWithinLimits(const QByteArray &data)
{
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    const quint64 size = quint64(data.size());
    if (size < 8 + 32)
        return false;
    const uchar *trailer = bytes + size - 32;
    const int offsetSize = trailer[6];
    const int refSize = trailer[7];
    const quint64 numObjects = readBigEndian(trailer + 8, 8);
    const quint64 topObject = readBigEndian(trailer + 16, 8);
    const quint64 tableOffset = readBigEndian(trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8)
        return false;
    if (numObjects == 0 || numObjects > quint64(PLVPlist::kMaxObjects) || topObject >= numObjects)
        return false;
    if (tableOffset < 8 || tableOffset > size - 32 || numObjects > (size - 32 - tableOffset) / quint64(offsetSize))
        return false;

    auto objectOffset = [&](quint64 index) { return readBigEndian(bytes + tableOffset + index * quint64(offsetSize), offsetSize); };

    // Children of a container object, or false when the object is malformed.
    auto children = [&](quint64 index, std::vector<quint64> &out) -> bool {
        out.clear();
        const quint64 off = objectOffset(index);
        if (off < 8 || off >= tableOffset)
            return false;
        const uchar marker = bytes[off];
        const int kind = marker >> 4;
        const bool isString = kind == 0x5 || kind == 0x6 || kind == 0x7;
        if (kind != 0xA && kind != 0xC && kind != 0xD && !isString)
            return true;
        quint64 count = marker & 0x0F;
        quint64 pos = off + 1;
        if (count == 0x0F) {
            if (pos >= tableOffset || (bytes[pos] >> 4) != 0x1)
                return false;
            const int intSize = 1 << (bytes[pos] & 0x0F);
            if (intSize > 8 || pos + 1 + quint64(intSize) > tableOffset)
                return false;
            count = readBigEndian(bytes + pos + 1, intSize);
            pos += 1 + quint64(intSize);
        }
        if (isString) {
            // libplist aborts on a string holding a NUL character.
            const quint64 unit = kind == 0x6 ? 2 : 1;
            if (count > (tableOffset - pos) / unit)
                return false;
            for (quint64 i = 0; i < count; ++i) {
                const uchar *c = bytes + pos + i * unit;
                if (c[0] == 0 && (unit == 1 || c[1] == 0))
                    return false;
            }
            return true;
        }
        const quint64 refs = kind == 0xD ? count * 2 : count;
        if (count > numObjects * 2 || refs > (tableOffset - pos) / quint64(refSize))
            return false;
        out.reserve(size_t(refs));
        for (quint64 r = 0; r < refs; ++r) {
            const quint64 ref = readBigEndian(bytes + pos + r * quint64(refSize), refSize);
            if (ref >= numObjects)
                return false;
            out.push_back(ref);
        }
        return true;
    };

    // Iterative post-order walk from the top object: depth and expanded size of
    // every subtree, with cycles rejected.
    enum : uchar { Unseen, Open, Done };
    std::vector<uchar> state(size_t(numObjects), Unseen);
    std::vector<int> depth(size_t(numObjects), 0);
    std::vector<qint64> expanded(size_t(numObjects), 0);
    struct Frame { quint64 index; std::vector<quint64> kids; size_t next; };
    std::vector<Frame> stack;
    stack.push_back({topObject, {}, 0});
    if (!children(topObject, stack.back().kids))
        return false;
    state[size_t(topObject)] = Open;
    while (!stack.empty()) {
        Frame &f = stack.back();
        if (f.next < f.kids.size()) {
            const quint64 kid = f.kids[f.next++];
            if (state[size_t(kid)] == Open)
                return false; // reference cycle
            if (state[size_t(kid)] == Unseen) {
                if (int(stack.size()) > PLVPlist::kMaxDepth)
                    return false;
                Frame child{kid, {}, 0};
                if (!children(kid, child.kids))
                    return false;
                state[size_t(kid)] = Open;
                stack.push_back(std::move(child));
            }
            continue;
        }
        int d = 0;
        qint64 n = 1;
        for (quint64 kid : f.kids) {
            d = std::max(d, depth[size_t(kid)]);
            n += expanded[size_t(kid)];
            if (n > PLVPlist::kMaxObjects)
                return false;
        }
        depth[size_t(f.index)] = d + 1;
        expanded[size_t(f.index)] = n;
        state[size_t(f.index)] = Done;
        if (d + 1 > PLVPlist::kMaxDepth)
            return false;
        stack.pop_back();
    }
    return true;
}

// --- libplist -> QVariant ---------------------------------------------------

QVariant toVariant(plist_t node, int depth)
{
    if (!node || depth > PLVPlist::kMaxDepth)
        return {};
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!value) {
                free(key);
                break;
            }
            QVariant v = toVariant(value, depth + 1);
            const QString k = QString::fromUtf8(key ? key : "");
            free(key);
            if (!v.isValid()) {
                free(it);
                return {};
            }
            map.insert(k, v);
        }
        free(it);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t n = plist_array_get_size(node);
        list.reserve(int(n));
        for (uint32_t i = 0; i < n; ++i) {
            QVariant v = toVariant(plist_array_get_item(node, i), depth + 1);
            if (!v.isValid())
                return {};
            list.append(v);
        }
        return list;
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char *s = plist_get_string_ptr(node, &length);
        return s ? QString::fromUtf8(s, qsizetype(length)) : QString(QLatin1String(""));
    }
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return bool(b);
    }
    case PLIST_UINT: {
        // libplist keeps every integer in 64 bits; negative values come back as
        // their two's complement.
        uint64_t v = 0;
        plist_get_uint_val(node, &v);
        return qint64(v);
    }
    case PLIST_UID: {
        uint64_t v = 0;
        plist_get_uid_val(node, &v);
        return qint64(v);
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return d;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 ms = (qint64(sec) + kPlistEpochOffset) * 1000 + usec / 1000;
        return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
    }
    case PLIST_DATA: {
        char *d = nullptr;
        uint64_t len = 0;
        plist_get_data_val(node, &d, &len);
        QByteArray bytes(d, qsizetype(len));
        free(d);
        return bytes;
    }
    default:
        return {};
    }
}

// --- QVariant -> libplist ---------------------------------------------------

plist_t fromVariant(const QVariant &v, int depth)
{
    if (depth > PLVPlist::kMaxDepth)
        return nullptr;
    switch (v.typeId()) {
    case QMetaType::QVariantMap: {
        PlistPtr dict(plist_new_dict());
        const QVariantMap map = v.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            plist_t item = fromVariant(it.value(), depth + 1);
            if (!item)
                return nullptr;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), item);
        }
        return dict.release();
    }
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantHash hash = v.toHash();
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        return fromVariant(map, depth);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        PlistPtr array(plist_new_array());
        const QVariantList list = v.toList();
        for (const QVariant &item : list) {
            plist_t node = fromVariant(item, depth + 1);
            if (!node)
                return nullptr;
            plist_array_append_item(array.get(), node);
        }
        return array.release();
    }
    case QMetaType::QString:
        return plist_new_string(v.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(v.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar:
    case QMetaType::Char:
        return plist_new_uint(uint64_t(v.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return plist_new_uint(uint64_t(v.toULongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(v.toDouble());
    case QMetaType::QDateTime: {
        const QDateTime dt = v.toDateTime();
        if (!dt.isValid())
            return nullptr;
        // XML dates hold whole seconds; round down so that times before 2001
        // are not moved forwards.
        const qint64 ms = dt.toMSecsSinceEpoch() - kPlistEpochOffset * 1000;
        const qint64 sec = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
        if (sec < std::numeric_limits<int32_t>::min() || sec > std::numeric_limits<int32_t>::max())
            return nullptr;
        return plist_new_date(int32_t(sec), 0);
    }
    case QMetaType::QByteArray: {
        const QByteArray b = v.toByteArray();
        return plist_new_data(b.constData(), uint64_t(b.size()));
    }
    default:
        return nullptr;
    }
}

} // namespace

QVariant PLVPlist::normalized(const QVariant &value)
{
    // Through the same conversions a write and a read make, without the XML.
    PlistPtr node(fromVariant(value, 0));
    return node ? toVariant(node.get(), 0) : QVariant();
}

bool PLVPlist::isWithinLimits(const QByteArray &data)
{
    if (data.isEmpty() || data.size() > kMaxFileSize)
        return false;
    if (data.startsWith("bplist00"))
        return binaryWithinLimits(data);
    return xmlWithinLimits(data);
}

QVariant PLVPlist::fromData(const QByteArray &data)
{
    if (!isWithinLimits(data))
        return {};
    plist_t root = nullptr;
    if (data.startsWith("bplist00"))
        plist_from_bin(data.constData(), uint32_t(data.size()), &root);
    else
        plist_from_xml(data.constData(), uint32_t(data.size()), &root);
    PlistPtr guard(root);
    return toVariant(root, 0);
}

QVariant PLVPlist::readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const qint64 size = file.size();
    if (size <= 0 || size > kMaxFileSize)
        return {};
    return fromData(file.read(kMaxFileSize + 1));
}

QVariant PLVPlist::readDictionary(const QString &path)
{
    QVariant v = readFile(path);
    return v.typeId() == QMetaType::QVariantMap ? v : QVariant();
}

QByteArray PLVPlist::toXml(const QVariant &value)
{
    PlistPtr root(fromVariant(value, 0));
    if (!root)
        return {};
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    QByteArray out(xml, qsizetype(length));
    plist_to_xml_free(xml);
    return out;
}

bool PLVPlist::writeFile(const QString &path, const QVariant &value, QFileDevice::Permissions permissions)
{
    const QByteArray xml = toXml(value);
    if (xml.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.setPermissions(permissions);
    if (file.write(xml) != xml.size())
        return false;
    return file.commit();
}
