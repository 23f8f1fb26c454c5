#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/platform/PLVViewController.h"
#include "support/PLVTest.h"

#include <QFontDatabase>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// Fills a rectangle given in the view's own coordinates.
class BoxView : public PLVView
{
public:
    explicit BoxView(QRectF box, bool flipped = false, QWidget *parent = nullptr)
        : PLVView(parent), m_box(box), m_flipped(flipped)
    {
    }
    bool isFlipped() const override { return m_flipped; }

protected:
    void drawRect(QPainter &painter, const QRectF &) override { painter.fillRect(m_box, Qt::red); }

private:
    QRectF m_box;
    bool m_flipped;
};

// Draws a string with the upright text helper.
class TextView : public PLVView
{
public:
    QString text;
    QPointF at;
    QFont font{QStringLiteral("DejaVu Sans"), 14};
    bool flipped = false;
    bool isFlipped() const override { return flipped; }

protected:
    void drawRect(QPainter &painter, const QRectF &) override { drawString(painter, text, at, font, Qt::black); }
};

QImage render(QWidget &w, qreal scale)
{
    QImage image(QSize(int(w.width() * scale), int(w.height() * scale)), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::white);
    w.render(&image);
    return image;
}

bool isRed(QRgb c) { return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60; }

// Ink coverage of an image: count of clearly dark pixels.
int darkPixels(const QImage &img)
{
    int n = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            n += qGray(img.pixel(x, y)) < 128;
    return n;
}

} // namespace

TEST(View, DrawingAtTheBottomLeftLandsAtTheBottomLeftAtEveryScale)
{
    for (qreal scale : {1.0, 2.0}) {
        BoxView view(QRectF(0, 0, 10, 10));
        view.resize(100, 50);
        const QImage img = render(view, scale);
        const int s = int(scale);
        EXPECT_TRUE(isRed(img.pixel(2 * s, img.height() - 2 * s))) << "bottom left, scale " << scale;
        EXPECT_TRUE(isRed(img.pixel(9 * s, img.height() - 9 * s))) << "inner corner, scale " << scale;
        EXPECT_FALSE(isRed(img.pixel(2 * s, 2 * s))) << "top left stays empty, scale " << scale;
        EXPECT_FALSE(isRed(img.pixel(12 * s, img.height() - 2 * s))) << "right of the box, scale " << scale;
        EXPECT_FALSE(isRed(img.pixel(2 * s, img.height() - 12 * s))) << "above the box, scale " << scale;
    }
    // A flipped view keeps Qt's top-left origin.
    BoxView flipped(QRectF(0, 0, 10, 10), true);
    flipped.resize(100, 50);
    const QImage img = render(flipped, 1.0);
    EXPECT_TRUE(isRed(img.pixel(2, 2)));
    EXPECT_FALSE(isRed(img.pixel(2, 47)));
}

TEST(View, FramesAreMeasuredFromTheSuperviewsBottomAndSurviveItsResizing)
{
    PLVView super;
    super.resize(200, 100);
    auto *child = new BoxView(QRectF(0, 0, 30, 20));
    child->setFrame(QRectF(10, 5, 30, 20));
    super.addSubview(child);
    EXPECT_EQ(child->geometry(), QRect(10, 75, 30, 20)) << "5 points above the bottom edge";
    EXPECT_EQ(child->frame(), QRectF(10, 5, 30, 20));
    EXPECT_EQ(child->superview(), &super);

    super.resize(200, 160); // hidden: Qt delivers the resize only when it draws
    EXPECT_EQ(child->frame(), QRectF(10, 5, 30, 20)) << "still 5 points above the bottom";
    render(super, 1.0);
    EXPECT_EQ(child->geometry().bottom(), 160 - 5 - 1);
    EXPECT_EQ(child->frame(), QRectF(10, 5, 30, 20));
    super.show();
    super.resize(200, 120); // visible: delivered at once
    EXPECT_EQ(child->frame(), QRectF(10, 5, 30, 20));
    EXPECT_EQ(child->geometry().bottom(), 120 - 5 - 1);

    child->setFrameOrigin(QPointF(0, 0));
    EXPECT_EQ(child->geometry(), QRect(0, 100, 30, 20));
    child->setFrameSize(QSizeF(40, 40));
    EXPECT_EQ(child->frame(), QRectF(0, 0, 40, 40));

    const QImage img = render(super, 2.0);
    EXPECT_TRUE(isRed(img.pixel(4, img.height() - 4))) << "the subview draws at the superview's bottom left";

    child->removeFromSuperview();
    EXPECT_EQ(child->superview(), nullptr);
    EXPECT_TRUE(super.findChildren<PLVView *>().isEmpty());
    delete child;
}

TEST(View, TextIsDrawnUprightWithItsLineBoxAboveThePoint)
{
    ASSERT_TRUE(QFontDatabase::families().contains(QStringLiteral("DejaVu Sans")));
    TextView view;
    view.text = QStringLiteral("Hg1");
    view.at = QPointF(5, 5);
    view.resize(80, 40);
    const QImage ours = render(view, 1.0);

    // The same text drawn the ordinary way, line box bottom 5 points above the image's bottom.
    QImage reference(ours.size(), ours.format());
    reference.fill(Qt::white);
    {
        QPainter p(&reference);
        p.setRenderHint(QPainter::Antialiasing);
        p.setFont(view.font);
        p.setPen(Qt::black);
        const QFontMetricsF fm(view.font);
        p.drawText(QPointF(5, 40 - 5 - fm.descent()), view.text);
    }
    ASSERT_GT(darkPixels(reference), 20);
    int differing = 0;
    for (int y = 0; y < ours.height(); ++y)
        for (int x = 0; x < ours.width(); ++x)
            differing += qAbs(qGray(ours.pixel(x, y)) - qGray(reference.pixel(x, y))) > 64;
    EXPECT_LE(differing, 4) << "upright and in place, within anti-aliasing";

    // Nothing below the line box.
    EXPECT_EQ(darkPixels(ours.copy(0, 36, 80, 4)), 0);

    // In a flipped view the point is the top left of the line box.
    view.flipped = true;
    view.at = QPointF(5, 0);
    const QImage flipped = render(view, 1.0);
    const int topInk = darkPixels(flipped.copy(0, 0, 80, 20));
    EXPECT_GT(topInk, 20);
    EXPECT_EQ(darkPixels(flipped.copy(0, 25, 80, 15)), 0);
}

TEST(View, InterfaceFilesBuildRegisteredViewsAndWireOutlets)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Test.ui"));
    plvtest::writeFile(path, R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0"><class>Root</class>
 <widget class="QWidget" name="Root">
  <widget class="PLVView" name="canvas"><property name="geometry"><rect><x>1</x><y>2</y><width>30</width><height>40</height></rect></property></widget>
  <widget class="QPushButton" name="button"/>
 </widget>
 <customwidgets><customwidget><class>PLVView</class><extends>QWidget</extends><header>v.h</header></customwidget></customwidgets>
</ui>)");
    std::unique_ptr<QWidget> root(PLVViewController::loadInterfaceFile(path, nullptr));
    ASSERT_NE(root, nullptr);
    auto *canvas = root->findChild<PLVView *>(QStringLiteral("canvas"));
    ASSERT_NE(canvas, nullptr) << "created as the registered PLVView, not a plain widget";
    EXPECT_EQ(canvas->geometry(), QRect(1, 2, 30, 40));
    EXPECT_EQ(PLVViewController::loadInterfaceFile(dir.filePath(QStringLiteral("Missing.ui")), nullptr), nullptr);
    plvtest::writeFile(dir.filePath(QStringLiteral("Broken.ui")), "<ui><widget");
    EXPECT_EQ(PLVViewController::loadInterfaceFile(dir.filePath(QStringLiteral("Broken.ui")), nullptr), nullptr);
}
