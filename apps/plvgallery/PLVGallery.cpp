#include "PLVGallery.h"

#include <algorithm>

namespace {

QList<PLVGalleryEntry> &table()
{
    static QList<PLVGalleryEntry> t;
    return t;
}

} // namespace

bool PLVGallery::add(PLVGalleryEntry entry)
{
    table().append(std::move(entry));
    return true;
}

QList<PLVGalleryEntry> PLVGallery::entries()
{
    QList<PLVGalleryEntry> sorted = table();
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const PLVGalleryEntry &a, const PLVGalleryEntry &b) { return a.name < b.name; });
    return sorted;
}
