#pragma once
#include <QColor>
#include <QString>
#include <QStringList>

// The desktop's named colours ("labelColor", "secondaryLabelColor", the control
// and selection colours, the system colours), for a light or a dark appearance.
//
// Where Qt's palette has the role and the palette is of the asked appearance,
// the colour comes from the palette; label colours are the palette's text colour
// on a fixed ladder of alphas; the rest are fixed values. The accent colour is
// the desktop's (PLVAppearance).
class PLVPlatformColors
{
public:
    // An invalid colour for an unknown name.
    static QColor colorNamed(const QString &name, bool dark);
    // The colour with its alpha replaced by `alpha`.
    static QColor colorNamed(const QString &name, bool dark, double alpha);
    static QStringList colorNames();

    // The desktop's current appearance (PLVAppearance).
    static bool isDark();

    static QColor labelColor(bool dark) { return colorNamed(QStringLiteral("labelColor"), dark); }
    static QColor secondaryLabelColor(bool dark) { return colorNamed(QStringLiteral("secondaryLabelColor"), dark); }
    static QColor tertiaryLabelColor(bool dark) { return colorNamed(QStringLiteral("tertiaryLabelColor"), dark); }
    static QColor quaternaryLabelColor(bool dark) { return colorNamed(QStringLiteral("quaternaryLabelColor"), dark); }
    static QColor alternateSelectedControlTextColor(bool dark)
    {
        return colorNamed(QStringLiteral("alternateSelectedControlTextColor"), dark);
    }
    static QColor keyboardFocusIndicatorColor(bool dark)
    {
        return colorNamed(QStringLiteral("keyboardFocusIndicatorColor"), dark);
    }
    static QColor windowBackgroundColor(bool dark) { return colorNamed(QStringLiteral("windowBackgroundColor"), dark); }
};
