#include "PLVCommon/theme/PLVPlatformColors.h"

#include "PLVCommon/theme/PLVAppearance.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QHash>
#include <QPalette>

#include <optional>

namespace {

enum class Source {
    Fixed,   // the light and dark values below
    Palette, // the palette's role when the palette is of the asked appearance
    Label,   // the palette's text colour (else black or white) at the given alpha
    Accent,  // the desktop's accent colour
};

struct Entry {
    Source source;
    QColor light;
    QColor dark;
    std::optional<QPalette::ColorRole> role = std::nullopt;
    double lightAlpha = 1.0; // labels: the alpha of each step
    double darkAlpha = 1.0;
};

QColor rgb(int r, int g, int b, double a = 1.0)
{
    return QColor::fromRgbF(float(r / 255.0), float(g / 255.0), float(b / 255.0), float(a));
}

const QHash<QString, Entry> &table()
{
    static const QHash<QString, Entry> t = {
        // Labels: the text colour on a ladder of alphas.
        {QStringLiteral("labelColor"), {Source::Label, {}, {}, QPalette::WindowText, 0.85, 0.85}},
        {QStringLiteral("secondaryLabelColor"), {Source::Label, {}, {}, QPalette::WindowText, 0.5, 0.55}},
        {QStringLiteral("tertiaryLabelColor"), {Source::Label, {}, {}, QPalette::WindowText, 0.26, 0.25}},
        {QStringLiteral("quaternaryLabelColor"), {Source::Label, {}, {}, QPalette::WindowText, 0.1, 0.1}},
        {QStringLiteral("textColor"), {Source::Palette, rgb(0, 0, 0), rgb(255, 255, 255), QPalette::Text}},
        {QStringLiteral("controlTextColor"),
         {Source::Palette, rgb(0, 0, 0, 0.85), rgb(255, 255, 255, 0.85), QPalette::ButtonText}},
        {QStringLiteral("disabledControlTextColor"), {Source::Fixed, rgb(0, 0, 0, 0.25), rgb(255, 255, 255, 0.25)}},
        {QStringLiteral("selectedTextColor"), {Source::Palette, rgb(0, 0, 0), rgb(255, 255, 255), QPalette::HighlightedText}},
        {QStringLiteral("alternateSelectedControlTextColor"),
         {Source::Palette, rgb(255, 255, 255), rgb(255, 255, 255), QPalette::HighlightedText}},
        {QStringLiteral("selectedMenuItemTextColor"),
         {Source::Palette, rgb(255, 255, 255), rgb(255, 255, 255), QPalette::HighlightedText}},
        // Backgrounds and controls.
        {QStringLiteral("windowBackgroundColor"), {Source::Palette, rgb(236, 236, 236), rgb(50, 50, 50), QPalette::Window}},
        {QStringLiteral("controlBackgroundColor"), {Source::Palette, rgb(255, 255, 255), rgb(30, 30, 30), QPalette::Base}},
        {QStringLiteral("controlColor"), {Source::Palette, rgb(255, 255, 255), rgb(255, 255, 255, 0.25), QPalette::Button}},
        {QStringLiteral("textBackgroundColor"), {Source::Palette, rgb(255, 255, 255), rgb(30, 30, 30), QPalette::Base}},
        {QStringLiteral("gridColor"), {Source::Fixed, rgb(230, 230, 230), rgb(26, 26, 26)}},
        {QStringLiteral("separatorColor"), {Source::Fixed, rgb(0, 0, 0, 0.1), rgb(255, 255, 255, 0.1)}},
        {QStringLiteral("shadowColor"), {Source::Fixed, rgb(0, 0, 0), rgb(0, 0, 0)}},
        // Selection and accent.
        {QStringLiteral("keyboardFocusIndicatorColor"), {Source::Accent, {}, {}}},
        {QStringLiteral("controlAccentColor"), {Source::Accent, {}, {}}},
        {QStringLiteral("selectedContentBackgroundColor"), {Source::Accent, {}, {}}},
        {QStringLiteral("alternateSelectedControlColor"), {Source::Accent, {}, {}}},
        {QStringLiteral("selectedMenuItemColor"), {Source::Accent, {}, {}}},
        {QStringLiteral("selectedControlColor"), {Source::Palette, rgb(179, 215, 255), rgb(63, 99, 139), QPalette::Highlight}},
        {QStringLiteral("selectedTextBackgroundColor"),
         {Source::Palette, rgb(179, 215, 255), rgb(63, 99, 139), QPalette::Highlight}},
        {QStringLiteral("linkColor"), {Source::Palette, rgb(0, 104, 218), rgb(65, 156, 255), QPalette::Link}},
        // Fixed hues, a little brighter on dark backgrounds.
        {QStringLiteral("redColor"), {Source::Fixed, rgb(255, 0, 0), rgb(255, 0, 0)}},
        {QStringLiteral("systemRedColor"), {Source::Fixed, rgb(255, 59, 48), rgb(255, 69, 58)}},
        {QStringLiteral("systemOrangeColor"), {Source::Fixed, rgb(255, 149, 0), rgb(255, 159, 10)}},
        {QStringLiteral("systemYellowColor"), {Source::Fixed, rgb(255, 204, 0), rgb(255, 214, 10)}},
        {QStringLiteral("systemGreenColor"), {Source::Fixed, rgb(40, 205, 65), rgb(50, 215, 75)}},
        {QStringLiteral("systemBlueColor"), {Source::Fixed, rgb(0, 122, 255), rgb(10, 132, 255)}},
        {QStringLiteral("systemPurpleColor"), {Source::Fixed, rgb(175, 82, 222), rgb(191, 90, 242)}},
        {QStringLiteral("systemPinkColor"), {Source::Fixed, rgb(255, 45, 85), rgb(255, 55, 95)}},
        {QStringLiteral("systemTealColor"), {Source::Fixed, rgb(89, 173, 196), rgb(106, 196, 220)}},
        {QStringLiteral("systemGrayColor"), {Source::Fixed, rgb(142, 142, 147), rgb(152, 152, 157)}},
    };
    return t;
}

// The application palette, when there is one and it is of the asked appearance.
std::optional<QPalette> paletteFor(bool dark)
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return std::nullopt;
    const QPalette p = QGuiApplication::palette();
    const bool paletteDark = p.color(QPalette::Window).lightness() < 128;
    if (paletteDark != dark)
        return std::nullopt;
    return p;
}

} // namespace

bool PLVPlatformColors::isDark()
{
    return PLVAppearance::sharedAppearance()->isDark();
}

QColor PLVPlatformColors::colorNamed(const QString &name, bool dark)
{
    const auto it = table().constFind(name);
    if (it == table().cend())
        return {};
    const Entry &e = *it;
    switch (e.source) {
    case Source::Accent:
        return ColorExtras::colorWithAlphaComponent(PLVAppearance::sharedAppearance()->accentColor(), 1.0);
    case Source::Label: {
        QColor base = dark ? QColor(Qt::white) : QColor(Qt::black);
        if (const auto p = paletteFor(dark))
            base = p->color(*e.role);
        return ColorExtras::colorWithAlphaComponent(base, dark ? e.darkAlpha : e.lightAlpha);
    }
    case Source::Palette:
        if (const auto p = paletteFor(dark))
            return p->color(*e.role);
        return dark ? e.dark : e.light;
    case Source::Fixed:
        return dark ? e.dark : e.light;
    }
    return {};
}

QColor PLVPlatformColors::colorNamed(const QString &name, bool dark, double alpha)
{
    return ColorExtras::colorWithAlphaComponent(colorNamed(name, dark), alpha);
}

QStringList PLVPlatformColors::colorNames()
{
    QStringList names = table().keys();
    names.sort();
    return names;
}
