#pragma once
#include <QList>
#include <QMetaObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>

// A bundle directory:
//
//   <Name>.<ext>/Contents/Info.plist                 information dictionary
//   <Name>.<ext>/Contents/Linux/<CFBundleExecutable> loadable code (optional)
//   <Name>.<ext>/Contents/Resources/                 resources, Localizable_<lang>.qm
//
// One instance per path for the life of the process. The framework's own
// bundle lies beside the library (<libdir>/../share/PLVCommon); the main bundle
// is the one holding the executable, or <prefix>/share/<program> for a program
// installed in bin/.
class PLVBundle
{
public:
    // nullptr when the directory does not exist.
    static PLVBundle *bundleWithPath(const QString &path);
    // Among the bundles this process knows (opened, loaded, main, framework).
    static PLVBundle *bundleWithIdentifier(const QString &identifier);
    // The bundle whose code holds the class; the main bundle for classes of the
    // executable or of libraries outside any bundle.
    static PLVBundle *bundleForClass(const QMetaObject *metaObject);
    static PLVBundle *mainBundle();
    static PLVBundle *frameworkBundle();
    static QList<PLVBundle *> allBundles();

    QString bundlePath() const;
    QString bundleIdentifier() const;
    QVariantMap infoDictionary() const;
    QVariant objectForInfoDictionaryKey(const QString &key) const;
    QString resourcePath() const;
    QString executablePath() const;
    QString builtInPlugInsPath() const;
    // Path of Resources/<name>.<type> (type may be empty when the name carries
    // its extension); a null string when there is no such file.
    QString pathForResource(const QString &name, const QString &type) const;

    // The key's translation in the table for the current default QLocale. A
    // missing translation gives `value`, or the key itself when value is empty.
    QString localizedString(const QString &key, const QString &value = QString(),
                            const QString &table = QStringLiteral("Localizable")) const;

    // Loads the executable (dlopen), which registers its classes.
    bool load();
    bool isLoaded() const;
    QString loadError() const;
    // The class named by NSPrincipalClass, after loading; nullptr when missing.
    const QMetaObject *principalClass();

    ~PLVBundle();

private:
    explicit PLVBundle(const QString &path);
    struct Private;
    std::unique_ptr<Private> d;
};

// The key looked up in the "Localizable" table of the bundle that holds the class.
QString PLVLocalizedStringForClass(const QMetaObject *metaObject, const QString &key);
