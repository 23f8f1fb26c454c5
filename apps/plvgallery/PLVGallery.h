#pragma once
// The gallery's table of views: each entry names a view and makes it, configured
// with sample data, for one appearance. A view adds itself from its own file:
//
//   PLV_GALLERY_VIEW("graph", QSizeF(200, 80), PLVGalleryPlace::Panel,
//                    [](const PLVGalleryContext &ctx) -> QWidget * { ... });
#include <QList>
#include <QSizeF>
#include <QString>
#include <QWidget>

#include <functional>

enum class PLVGalleryPlace {
    Panel,   // inside a drop-down panel or the widget window
    MenuBar, // inside a status item: drawn on the bar, and highlighted
};

struct PLVGalleryContext {
    bool dark = false;        // the window background style
    bool highlighted = false; // the status item is drawn highlighted (menu-bar views)
};

struct PLVGalleryEntry {
    QString name;  // file names: <name>-<light|dark>@<scale>x.png
    QSizeF size;   // in points
    PLVGalleryPlace place = PLVGalleryPlace::Panel;
    std::function<QWidget *(const PLVGalleryContext &)> make; // the caller owns the view
};

class PLVGallery
{
public:
    static bool add(PLVGalleryEntry entry);
    // In name order.
    static QList<PLVGalleryEntry> entries();
};

#define PLV_GALLERY_CONCAT2(a, b) a##b
#define PLV_GALLERY_CONCAT(a, b) PLV_GALLERY_CONCAT2(a, b)
// The factory is last, so that commas inside it need no parentheses.
#define PLV_GALLERY_VIEW(name, size, place, ...)                                                    \
    namespace {                                                                                     \
    [[maybe_unused]] const bool PLV_GALLERY_CONCAT(plvGalleryEntry_, __LINE__) =                    \
        PLVGallery::add(PLVGalleryEntry{QStringLiteral(name), size, place, __VA_ARGS__});           \
    }
