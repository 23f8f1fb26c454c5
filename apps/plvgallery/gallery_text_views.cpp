// The text views of the module framework, with a processor's sample texts.
#include "PLVGallery.h"

#include "PLVCommon/core/PLVTextViews.h"

namespace {

PLVModelData sampleData()
{
    PLVModelData data = PLVModelData::create();
    data.insert({{QStringLiteral("cpuUsageText"), QStringLiteral("12%")},
                 {QStringLiteral("loadAverageText"), QStringLiteral("0.32 0.09 0.03")},
                 {QStringLiteral("tasksText"), QStringLiteral("412 tasks, 1 903 threads")}});
    return data;
}

template <class View>
QWidget *textView(const QString &title, const QStringList &keys, const QStringList &labels)
{
    auto *view = new View;
    view->setTitle(title);
    view->setTextKeys(keys);
    view->setTextLabels(labels);
    view->setModelData(sampleData());
    view->updateView();
    return view;
}

} // namespace

PLV_GALLERY_VIEW("PLVTextStatusbarView", QSizeF(64, 22), PLVGalleryPlace::MenuBar, [](const PLVGalleryContext &) {
    return textView<PLVTextStatusbarView>(QString(), {QStringLiteral("cpuUsageText")}, {QStringLiteral("CPU")});
})

PLV_GALLERY_VIEW("PLVTextPanelView", QSizeF(220, 70), PLVGalleryPlace::Panel, [](const PLVGalleryContext &) {
    return textView<PLVTextPanelView>(
        QStringLiteral("Processor"),
        {QStringLiteral("cpuUsageText"), QStringLiteral("loadAverageText"), QStringLiteral("tasksText")},
        {QStringLiteral("Usage"), QStringLiteral("Load"), QString()});
})
