// plvgallery OUTPUT_FOLDER: renders every view of the gallery's table in light
// and dark at 1x and 2x, one PNG per view, appearance and scale, and a contact
// sheet of them all. Runs on Qt's offscreen platform unless told otherwise.
#include "PLVGallery.h"

#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFontDatabase>
#include <QPainter>
#include <QRegularExpression>
#include <QStyle>
#include <QStyleFactory>

#include <cstdio>
#include <memory>

namespace {

// A desktop palette of either lightness, so that views drawn with the palette
// and the named colours agree with the style posted to the theme objects.
QPalette desktopPalette(bool dark)
{
    QPalette p = QStyleFactory::create(QStringLiteral("Fusion"))->standardPalette();
    if (!dark)
        return p;
    const QColor window(50, 50, 50), base(30, 30, 30), text(235, 235, 235);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window.lighter(110));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(70, 70, 70));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, QColor(150, 150, 150));
    p.setColor(QPalette::Link, QColor(65, 156, 255));
    return p;
}

void setAppearance(bool dark)
{
    QApplication::setPalette(desktopPalette(dark));
    PLVNotificationCenter::defaultCenter()->postNotificationName(
        dark ? QStringLiteral("PLVWindowBackgroundStyleDark") : QStringLiteral("PLVWindowBackgroundStyleLight"));
}

// What stands behind a view: a panel, or a status item on the bar.
QColor backgroundFor(const PLVGalleryEntry &entry, const PLVGalleryContext &ctx)
{
    if (entry.place == PLVGalleryPlace::Panel)
        return PLVPlatformColors::windowBackgroundColor(ctx.dark);
    if (ctx.highlighted)
        return PLVPlatformColors::colorNamed(QStringLiteral("selectedMenuItemColor"), ctx.dark);
    return ctx.dark ? QColor(34, 34, 34) : QColor(246, 246, 246);
}

QImage render(const PLVGalleryEntry &entry, const PLVGalleryContext &ctx, qreal scale)
{
    setAppearance(ctx.dark);
    std::unique_ptr<QWidget> view(entry.make(ctx));
    if (!view)
        return {};
    view->setAttribute(Qt::WA_DontShowOnScreen);
    view->resize(entry.size.toSize());
    view->setPalette(desktopPalette(ctx.dark));
    // Theme objects made with the view start dark; tell them the appearance.
    setAppearance(ctx.dark);
    QImage image((entry.size * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(backgroundFor(entry, ctx));
    view->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

QString fileName(const QString &name, bool dark, int scale)
{
    QString safe = name;
    safe.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_.-]")), QStringLiteral("_"));
    return QStringLiteral("%1-%2@%3x.png").arg(safe, dark ? QStringLiteral("dark") : QStringLiteral("light")).arg(scale);
}

struct Rendered {
    QString name;
    QImage images[2][2]; // [dark][scale 1x, 2x]
};

// Every view in rows: light 1x, dark 1x, light 2x, dark 2x, under its name.
QImage contactSheet(const QList<Rendered> &all, const QFont &font)
{
    const int gap = 12, label = 18;
    int width = 0, height = gap;
    for (const Rendered &r : all) {
        const QSizeF s1 = r.images[0][0].deviceIndependentSize(), s2 = r.images[0][1].size();
        width = std::max(width, int(gap + 2 * (s1.width() + gap) + 2 * (s2.width() + gap)));
        height += label + int(std::max(s1.height(), s2.height())) + gap;
    }
    QImage sheet(QSize(std::max(width, 200), height), QImage::Format_ARGB32_Premultiplied);
    sheet.fill(QColor(128, 128, 128));
    QPainter p(&sheet);
    p.setFont(font);
    int y = gap;
    for (const Rendered &r : all) {
        p.setPen(Qt::white);
        p.drawText(QRectF(gap, y, width, label), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("%1   light 1x · dark 1x · light 2x · dark 2x").arg(r.name));
        y += label;
        int x = gap, rowHeight = 0;
        for (int scale = 0; scale < 2; ++scale) {
            for (int dark = 0; dark < 2; ++dark) {
                QImage img = r.images[dark][scale];
                img.setDevicePixelRatio(1.0); // 2x pictures at their pixel size
                p.drawImage(QPoint(x, y), img);
                x += img.width() + gap;
                rowHeight = std::max(rowHeight, img.height());
            }
        }
        y += rowHeight + gap;
    }
    return sheet;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The pictures depend on the gallery's own palettes, not on the desktop's
    // settings portal.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/plvgallery");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("plvgallery"));
    QApplication::setStyle(QStringLiteral("Fusion"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Renders every view in light and dark at 1x and 2x into OUTPUT_FOLDER, plus contact-sheet.png."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("OUTPUT_FOLDER"), QStringLiteral("Where the PNG files go."));
    const QCommandLineOption fontOption(QStringLiteral("font"),
                                        QStringLiteral("Draw with this font family instead of the desktop's."),
                                        QStringLiteral("FAMILY"));
    const QCommandLineOption onlyOption(QStringLiteral("only"), QStringLiteral("Render only the views named so."),
                                        QStringLiteral("NAME"));
    const QCommandLineOption listOption(QStringLiteral("list"), QStringLiteral("List the views and exit."));
    parser.addOptions({fontOption, onlyOption, listOption});
    parser.process(app);

    const QList<PLVGalleryEntry> entries = PLVGallery::entries();
    if (parser.isSet(listOption)) {
        for (const PLVGalleryEntry &e : entries)
            std::printf("%s\n", qPrintable(e.name));
        return 0;
    }
    if (parser.positionalArguments().size() != 1) {
        std::fprintf(stderr, "plvgallery: give one OUTPUT_FOLDER (see --help)\n");
        return 2;
    }
    const QString out = parser.positionalArguments().constFirst();
    if (!QDir().mkpath(out)) {
        std::fprintf(stderr, "plvgallery: cannot create %s\n", qPrintable(out));
        return 1;
    }
    if (parser.isSet(fontOption)) {
        const QString family = parser.value(fontOption);
        if (!QFontDatabase::hasFamily(family))
            std::fprintf(stderr, "plvgallery: no font family \"%s\", using the desktop's\n", qPrintable(family));
        else
            QApplication::setFont(QFont(family, QApplication::font().pointSize()));
    }
    const QStringList only = parser.values(onlyOption);

    QList<Rendered> all;
    int failures = 0;
    for (const PLVGalleryEntry &entry : entries) {
        if (!only.isEmpty() && !only.contains(entry.name))
            continue;
        Rendered r{entry.name, {}};
        for (const bool dark : {false, true}) {
            for (const int scale : {1, 2}) {
                const QImage image = render(entry, PLVGalleryContext{dark, false}, scale);
                const QString path = QDir(out).filePath(fileName(entry.name, dark, scale));
                if (image.isNull() || !image.save(path)) {
                    std::fprintf(stderr, "plvgallery: could not write %s\n", qPrintable(path));
                    ++failures;
                    continue;
                }
                r.images[dark][scale - 1] = image;
                std::printf("%s\n", qPrintable(path));
            }
        }
        all << r;
    }
    if (!all.isEmpty()) {
        const QString path = QDir(out).filePath(QStringLiteral("contact-sheet.png"));
        if (!contactSheet(all, QApplication::font()).save(path)) {
            std::fprintf(stderr, "plvgallery: could not write %s\n", qPrintable(path));
            ++failures;
        } else {
            std::printf("%s\n", qPrintable(path));
        }
    } else if (!only.isEmpty()) {
        std::fprintf(stderr, "plvgallery: no view named %s (see --list)\n", qPrintable(only.join(u' ')));
        return 2;
    }
    return failures == 0 ? 0 : 1;
}
