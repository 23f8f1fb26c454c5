// plvgallery renders the views into PNG files and a contact sheet.
#include "support/PLVTest.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

int plvgallery(const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvgallery"), args);
    if (!p.waitForFinished(120000) || p.exitStatus() != QProcess::NormalExit)
        return -1;
    return p.exitCode();
}

} // namespace

TEST(PlvGallery, WritesEveryAppearanceAndScaleAndAContactSheet)
{
    QTemporaryDir out;
    ASSERT_EQ(plvgallery({QStringLiteral("--font"), QStringLiteral("DejaVu Sans"), QStringLiteral("--only"),
                          QStringLiteral("theme-roles"), out.path()}),
              0);
    const QDir dir(out.path());
    EXPECT_EQ(dir.entryList(QDir::Files).size(), 5) << dir.entryList(QDir::Files).join(u' ').toStdString();
    const QImage light1(dir.filePath(QStringLiteral("theme-roles-light@1x.png")));
    const QImage light2(dir.filePath(QStringLiteral("theme-roles-light@2x.png")));
    const QImage dark1(dir.filePath(QStringLiteral("theme-roles-dark@1x.png")));
    ASSERT_FALSE(light1.isNull() || light2.isNull() || dark1.isNull());
    EXPECT_EQ(light2.size(), light1.size() * 2);
    EXPECT_EQ(dark1.size(), light1.size());
    // The panel's corner: light behind the light style, dark behind the dark one.
    EXPECT_GT(light1.pixelColor(2, light1.height() - 2).lightness(), 200);
    EXPECT_LT(dark1.pixelColor(2, dark1.height() - 2).lightness(), 80);
    // Something was drawn on it: the first role's swatch, in the light style's near-black.
    EXPECT_LT(light1.pixelColor(20, 35).lightness(), 60);
    EXPECT_GT(dark1.pixelColor(20, 35).lightness(), 200);
    const QImage sheet(dir.filePath(QStringLiteral("contact-sheet.png")));
    EXPECT_GE(sheet.width(), light1.width() * 2 + light2.width() * 2);

    EXPECT_EQ(plvgallery({}), 2) << "no folder";
    EXPECT_EQ(plvgallery({QStringLiteral("--only"), QStringLiteral("noSuchView"), out.path()}), 2);
    EXPECT_EQ(plvgallery({QStringLiteral("/proc/plvgallery-cannot-write-here")}), 1);
}
