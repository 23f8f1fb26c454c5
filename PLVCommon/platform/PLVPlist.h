#pragma once
#include <QByteArray>
#include <QFileDevice>
#include <QString>
#include <QVariant>

// Property-list files <-> QVariant.
//
//   dictionary  QVariantMap          array    QVariantList (QStringList accepted on write)
//   string      QString              integer  qint64 (any integral QVariant on write)
//   real        double               boolean  bool
//   date        QDateTime (UTC, whole seconds)
//   data        QByteArray
//
// XML is written; XML and binary are read. Anything that is not a well-formed
// property list within the limits below reads as an invalid QVariant: empty,
// truncated, malformed, too deeply nested or too large input never crashes.
class PLVPlist
{
public:
    static constexpr qint64 kMaxFileSize = 64 * 1024 * 1024;
    static constexpr int kMaxDepth = 256;
    static constexpr qint64 kMaxObjects = 4 * 1024 * 1024;

    static QVariant fromData(const QByteArray &data);
    static QVariant readFile(const QString &path);
    // Like readFile, but only a dictionary at the root is valid.
    static QVariant readDictionary(const QString &path);

    // Empty when the value holds something a property list cannot (an invalid
    // QVariant inside a container, a pointer, ...).
    static QByteArray toXml(const QVariant &value);
    // Written to a temporary file in the same folder and renamed over the old one.
    static bool writeFile(const QString &path, const QVariant &value,
                          QFileDevice::Permissions permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner);

    // The value as reading it back from a file gives it: integers as qint64,
    // reals as double, string lists as lists, dates to the second. Invalid when
    // the value holds something a property list cannot.
    static QVariant normalized(const QVariant &value);

    // The structural guard run before parsing (exposed for tests and fuzzing).
    static bool isWithinLimits(const QByteArray &data);
};
