// The small controls: titles localised from an interface file with the table
// of each class's own bundle, the copy-only label with the real clipboard and
// real mouse events, the unit label, and the selector's tinted arrow in pixels.
#include "PLVCommon/controls/HVColorWell.h"
#include "PLVCommon/controls/PLVButton.h"
#include "PLVCommon/controls/PLVSelectorButton.h"
#include "PLVCommon/controls/PLVTextField.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVViewController.h"
#include "PLVCommon/theme/PLVColor.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QLocale>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const char *const kInterface = R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0">
 <class>Pane</class>
 <widget class="QWidget" name="pane">
  <widget class="PLVButton" name="button"><property name="text"><string>Copy</string></property></widget>
  <widget class="PLVButton" name="unknown"><property name="text"><string>No such key</string></property></widget>
  <widget class="PLVPopUpButton" name="popup">
   <item><property name="text"><string>Copy</string></property></item>
   <item><property name="text"><string>No such key</string></property></item>
  </widget>
  <widget class="PLVMatrix" name="matrix">
   <layout class="QGridLayout" name="cells">
    <item row="0" column="0"><widget class="QRadioButton" name="r0c0"><property name="text"><string>Copy</string></property></widget></item>
    <item row="0" column="1"><widget class="QRadioButton" name="r0c1"><property name="text"><string>Copy</string></property></widget></item>
    <item row="1" column="0"><widget class="QRadioButton" name="r1c0"><property name="text"><string>Copy</string></property></widget></item>
   </layout>
  </widget>
  <widget class="PLVTextField" name="field">
   <property name="text"><string>Copy</string></property>
   <property name="placeholderText"><string>Copy</string></property>
  </widget>
  <widget class="PLVTextField" name="plain"><property name="text"><string>No such key</string></property></widget>
  <widget class="PLVTextFieldCopy" name="copyField"><property name="text"><string>Copy</string></property></widget>
  <widget class="HVColorWell" name="well"><property name="sizeType"><number>1</number></property></widget>
 </widget>
</ui>
)";

QImage render(QWidget *w, const QColor &background) { return plvtest::render(*w, 1, background); }

} // namespace

TEST(SmallControls, InterfaceFileTitlesAreLocalisedOnceLoaded)
{
    plvtest::ScopedLocale french(QStringLiteral("fr_FR"));
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Pane.ui"));
    ASSERT_TRUE(plvtest::writeFile(path, kInterface));
    QObject owner;
    std::unique_ptr<QWidget> pane(PLVViewController::loadInterfaceFile(path, &owner));
    ASSERT_TRUE(pane);
    const QString copier = QStringLiteral("Copier");

    auto *button = pane->findChild<PLVButton *>(QStringLiteral("button"));
    ASSERT_TRUE(button);
    EXPECT_EQ(button->text(), copier);
    EXPECT_EQ(pane->findChild<PLVButton *>(QStringLiteral("unknown"))->text(), QStringLiteral("No such key"))
        << "a key without a translation shows itself";

    auto *popup = pane->findChild<PLVPopUpButton *>(QStringLiteral("popup"));
    ASSERT_TRUE(popup);
    ASSERT_EQ(popup->count(), 2);
    EXPECT_EQ(popup->itemText(0), copier);
    EXPECT_EQ(popup->itemText(1), QStringLiteral("No such key"));

    auto *matrix = pane->findChild<PLVMatrix *>(QStringLiteral("matrix"));
    ASSERT_TRUE(matrix);
    ASSERT_EQ(matrix->numberOfRows(), 2);
    EXPECT_EQ(matrix->cellAtRow(0, 0)->text(), copier);
    EXPECT_EQ(matrix->cellAtRow(1, 0)->text(), copier);
    EXPECT_EQ(matrix->cellAtRow(0, 1)->text(), QStringLiteral("Copy")) << "only the first column";
    EXPECT_EQ(matrix->cellAtRow(1, 1), nullptr);

    auto *field = pane->findChild<PLVTextField *>(QStringLiteral("field"));
    EXPECT_EQ(field->text(), copier);
    EXPECT_EQ(field->placeholderText(), copier);
    auto *plain = pane->findChild<PLVTextField *>(QStringLiteral("plain"));
    EXPECT_TRUE(plain->placeholderText().isEmpty()) << "no placeholder stays none";

    auto *copyField = pane->findChild<PLVTextFieldCopy *>(QStringLiteral("copyField"));
    ASSERT_TRUE(copyField && copyField->menuCopy());
    EXPECT_EQ(copyField->text(), QStringLiteral("Copy")) << "the copy label keeps its text";
    EXPECT_EQ(copyField->menuCopy()->title(), QStringLiteral("copy"));
    ASSERT_EQ(copyField->menuCopy()->actions().size(), 1);
    EXPECT_EQ(copyField->menuCopy()->actions().first()->text(), copier);

    auto *well = pane->findChild<HVColorWell *>(QStringLiteral("well"));
    ASSERT_TRUE(well);
    EXPECT_EQ(well->sizeType(), 1);
    EXPECT_EQ(well->color(), QColor::fromRgbF(1, 1, 1, 1)) << "white until set";
    EXPECT_EQ(well->size(), well->sizeHint()) << "the small well's own size";
}

TEST(SmallControls, AModulesOwnControlTranslatesWithItsBundlesTable)
{
    plvtest::ScopedLocale french(QStringLiteral("fr_FR"));
    PLVBundle *probe = PLVBundle::bundleWithPath(QStringLiteral(PLV_TEST_BUNDLES_DIR "/ControlsProbe.plvbundle3"));
    ASSERT_TRUE(probe);
    ASSERT_TRUE(probe->load()) << probe->loadError().toStdString();
    std::unique_ptr<QObject> object(PLVClassRegistry::createInstance(QStringLiteral("PLVProbeButton")));
    auto *own = qobject_cast<PLVButton *>(object.get());
    ASSERT_TRUE(own);
    own->setText(QStringLiteral("Copy"));
    own->awakeFromNib();
    EXPECT_EQ(own->text(), QStringLiteral("Copier la sonde"));

    PLVButton framework;
    framework.setText(QStringLiteral("Copy"));
    framework.awakeFromNib();
    EXPECT_EQ(framework.text(), QStringLiteral("Copier"));
}

TEST(PLVTextFieldCopy, CopiesItsTextOnlyThroughItsMenu)
{
    QWidget window;
    window.resize(300, 120);
    auto *field = new PLVTextFieldCopy(&window);
    field->setGeometry(40, 40, 200, 24);
    field->setText(QStringLiteral("Intel Core i7"));
    field->awakeFromNib();
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->setText(QStringLiteral("before"));

    // A plain click: no menu, no selection, no caret move.
    field->setCursorPosition(0);
    QTest::mouseClick(field, Qt::LeftButton, {}, QPoint(100, 12));
    QTest::mouseDClick(field, Qt::LeftButton, {}, QPoint(100, 12));
    EXPECT_FALSE(field->menuCopy()->isVisible());
    EXPECT_FALSE(field->hasSelectedText());
    EXPECT_EQ(field->cursorPosition(), 0);

    // A Control-click and a right click open the menu 5 points right of and above the pointer.
    for (const auto &[button, modifiers] : {std::pair{Qt::LeftButton, Qt::KeyboardModifiers(Qt::ControlModifier)},
                                            std::pair{Qt::RightButton, Qt::KeyboardModifiers()}}) {
        const QPoint at(60, 10);
        QTest::mousePress(field, button, modifiers, at);
        QMenu *menu = field->menuCopy();
        ASSERT_TRUE(menu->isVisible());
        EXPECT_EQ(menu->pos(), field->mapToGlobal(at) + QPoint(5, -5));
        menu->actions().first()->trigger();
        menu->hide();
        QTest::mouseRelease(field, button, modifiers, at);
        EXPECT_EQ(clipboard->text(), QStringLiteral("Intel Core i7"));
        clipboard->setText(QStringLiteral("before"));
    }

    // An empty text is copied too.
    field->setText(QString());
    field->copyLabel();
    EXPECT_EQ(clipboard->text(), QString());
}

TEST(PLVTextFieldUnit, IsAReadOnlyLabelWithoutFrameOrBackground)
{
    PLVTextFieldUnit unit;
    unit.setText(QStringLiteral("°C"));
    unit.resize(60, 22);
    EXPECT_TRUE(unit.isReadOnly());
    EXPECT_FALSE(unit.hasFrame());
    const QImage img = render(&unit, Qt::red);
    EXPECT_EQ(img.pixelColor(55, 11), QColor(Qt::red)) << "nothing drawn behind the text";
    EXPECT_EQ(img.pixelColor(1, 1), QColor(Qt::red)) << "no frame";
}

TEST(PLVSelectorButton, ArrowFollowsTheThemeAndFadesWhilePressed)
{
    PLVColor theme;
    PLVSelectorButton selector;
    selector.addItem(QStringLiteral("Every 2 seconds"));
    selector.resize(160, 24);
    selector.setColorObject(&theme);
    selector.awakeFromNib();
    ASSERT_FALSE(selector.imageArrow().isNull());
    EXPECT_EQ(selector.colorArrow(), theme.windowTitleLabelColor());
    theme.setWindowTitleLabelColor(QColor(0, 0, 255));
    EXPECT_EQ(selector.colorArrow(), QColor(0, 0, 255)) << "bound to the theme";

    // The arrow's centre: 1 point from the right edge, 2 above the bottom.
    const QSizeF arrow = QSizeF(selector.imageArrow().size()) / selector.imageArrow().devicePixelRatio();
    const QPoint centre(int(selector.width() - 1.0 - arrow.width() / 2),
                        int(selector.height() - 2.0 - arrow.height() * 0.6));
    selector.setColorArrow(QColor(0, 0, 0, 0));
    const QColor background = render(&selector, Qt::white).pixelColor(centre);
    selector.setColorArrow(QColor(255, 0, 0));
    const QColor full = render(&selector, Qt::white).pixelColor(centre);
    EXPECT_EQ(full.rgb(), QColor(255, 0, 0).rgb()) << "opaque arrow";
    selector.setHighlighted(true);
    const QColor pressed = render(&selector, Qt::white).pixelColor(centre);
    EXPECT_NEAR(pressed.red(), 255 * 0.8 + background.red() * 0.2, 3);
    EXPECT_NEAR(pressed.green(), background.green() * 0.2, 3) << "alpha 0.8 over the button";
    selector.setHighlighted(false);
    EXPECT_EQ(render(&selector, Qt::white).pixelColor(centre).rgb(), full.rgb());
}
