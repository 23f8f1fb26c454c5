#pragma once
// What one module shows outside its panel: the text and tooltip a bar prints,
// the share a bar may draw as a gauge, and the picture of its status view.
#include <QFont>
#include <QImage>
#include <QSize>
#include <QString>

#include <optional>

class PLVGenericModuleController;
class QWidget;

struct ModuleFace {
    QString identifier; // bundle identifier
    QString shortName;  // three-letter name, lower case ("cpu")
    QString name;       // display name
    QString text;       // one line: what the status item shows
    QString tooltip;    // the name, then one line per value of the panel
    std::optional<int> percentage; // 0-100, when the text carries a share

    // Reads the module's views (and, for views that draw no text, its model).
    static ModuleFace of(const QString &identifier, PLVGenericModuleController *controller);
    // The first "<number>%" of a text, rounded and clamped to 0-100.
    static std::optional<int> percentageIn(const QString &text);
    // Newlines and other control characters as spaces, runs of spaces as one.
    static QString oneLine(const QString &text);
    // The view drawn at the given scale, its text in `textColor`, on a
    // transparent image or on a rounded `highlight` (the item while its panel is open).
    static QImage render(QWidget *view, qreal scale, const QColor &textColor, const QColor &highlight = QColor());
    // What render() draws depends on, for views whose picture is their text
    // alone; none for any other view, whose picture must be drawn to be known.
    struct PictureKey {
        QString text;
        QSize size;
        QFont font;
        QRgb color = 0;
        QRgb highlight = 0;
        bool operator==(const PictureKey &) const = default;
    };
    static std::optional<PictureKey> pictureKey(QWidget *view, const QColor &textColor, const QColor &highlight = QColor());
};
