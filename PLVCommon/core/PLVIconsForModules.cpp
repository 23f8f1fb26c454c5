#include "PLVIconsForModules.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVModuleIdentifiers.h"

#include <QIcon>
#include <QPainter>

namespace {

constexpr int kActionIconSize = 32;

// Drawn when even the framework's file is missing (a broken installation), so
// that a module never ends up without an icon.
QImage drawnActionImage()
{
    QImage image(kActionIconSize, kActionIconSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::black, 3));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(6.5, 6.5, 19, 19));
    p.setBrush(Qt::black);
    p.drawEllipse(QRectF(13, 13, 6, 6));
    return image;
}

} // namespace

PLVIconsForModules *PLVIconsForModules::icons()
{
    static PLVIconsForModules *registry = new PLVIconsForModules;
    return registry;
}

QImage PLVIconsForModules::frameworkActionTemplateImage()
{
    if (PLVBundle *framework = PLVBundle::frameworkBundle()) {
        const QImage image(framework->pathForResource(QStringLiteral("PLVActionTemplate"), QStringLiteral("png")));
        if (!image.isNull())
            return image;
    }
    return drawnActionImage();
}

QImage PLVIconsForModules::actionTemplateImage()
{
    // "emblem-system" is the freedesktop name of the gear that stands for actions.
    const QIcon themed = QIcon::fromTheme(QStringLiteral("emblem-system"));
    if (!themed.isNull()) {
        const QImage image = themed.pixmap(kActionIconSize, kActionIconSize).toImage();
        if (!image.isNull())
            return image;
    }
    return frameworkActionTemplateImage();
}

void PLVIconsForModules::addIconForBundleIdentifier(const QString &bundleIdentifier)
{
    if (bundleIdentifier.isNull())
        return;
    QImage image;
    if (PLVBundle *bundle = PLVBundle::bundleWithIdentifier(bundleIdentifier)) {
        const QString file = bundle->objectForInfoDictionaryKey(QLatin1String(kPLVBundleIcon)).toString();
        // "name.ext" -> name and type; a leading dot does not start an extension.
        const qsizetype dot = file.lastIndexOf(QLatin1Char('.'));
        const QString path = dot > 0 ? bundle->pathForResource(file.left(dot), file.mid(dot + 1))
                                     : bundle->pathForResource(file, QString());
        if (!path.isEmpty())
            image.load(path);
    }
    if (image.isNull())
        image = actionTemplateImage();
    m_iconsDictionary.insert(bundleIdentifier, image);
}

QImage PLVIconsForModules::iconForBundleIdentifier(const QString &bundleIdentifier) const
{
    return m_iconsDictionary.value(bundleIdentifier);
}
