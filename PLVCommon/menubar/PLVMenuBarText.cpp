#include "PLVMenuBarText.h"

#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVColor.h"

#include <cmath>

PLV_REGISTER_CLASS(PLVMenuBarText)
PLV_REGISTER_CLASS(PLVMenuBarDoubleText)
PLV_REGISTER_CLASS(PLVModuleNameStatusBarView)

namespace {
QFont menuBarFont(float size, double weight = PLVColor::NSFontWeightRegular)
{
    return PLVColor::fontForTextWithWeight(weight, size);
}
} // namespace

PLVMenuBarText::PLVMenuBarText(QWidget *parent) : PLVLabelView(parent)
{
    setTextFont(menuBarFont(12));
    setAlignment(Qt::AlignCenter);
}

void PLVMenuBarText::setTextString(const QString &text)
{
    m_textString = text;
    if (text.isNull())
        return;
    setStringValue(text);
    updateViewSize();
}

void PLVMenuBarText::updateViewSize()
{
    const qreal height = frame().height();
    const qsizetype length = m_textString.size();
    switch (m_textUnitType) {
    case 0:
        if (length == 3)
            resizeView(this, 28, height);
        else if (length == 4)
            resizeView(this, 34, height);
        break;
    case 1: {
        const qreal width = length == 7 ? 52 : 44;
        resizeView(this, width, height);
        const qreal fitting = fittingSize(QSizeF(1000, 22)).width();
        if (fitting > width)
            resizeView(this, fitting + 2, height);
        break;
    }
    case 4:
        resizeView(this, sizeOfLabelString(), height);
        break;
    case 5:
        resizeView(this, length < 3 ? 18 : 26, height);
        break;
    default:
        break;
    }
}

float PLVMenuBarText::sizeOfLabelString() const
{
    if (stringValue().isEmpty())
        return 4;
    return float(std::ceil(textWidth() + 4));
}

void PLVMenuBarText::resizeView(QWidget *view, qreal width, qreal height)
{
    if (!view)
        return;
    // Qt sizes are whole points; compare in the same terms, so an unchanged size is no relayout.
    const QSize target(int(std::lround(width)), int(std::lround(height)));
    if (view->size() == target)
        return;
    if (auto *plv = qobject_cast<PLVView *>(view))
        plv->setFrameSize(QSizeF(target));
    else
        view->resize(target);
}

PLVMenuBarDoubleText::PLVMenuBarDoubleText(QWidget *parent) : PLVView(parent) {}

void PLVMenuBarDoubleText::awakeFromNib()
{
    const qreal half = height() / 2.0;
    auto make = [&](qreal y) {
        auto *field = new PLVLabelView;
        field->setTextFont(menuBarFont(9, PLVColor::NSFontWeightMedium));
        field->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        field->setFrame(QRectF(0, y, width(), half));
        addSubview(field);
        return field;
    };
    if (!m_textFieldUp)
        m_textFieldUp = make(half);
    if (!m_textFieldDown)
        m_textFieldDown = make(0);
    if (!m_textStringUp.isNull())
        m_textFieldUp->setStringValue(m_textStringUp);
    if (!m_textStringDown.isNull())
        m_textFieldDown->setStringValue(m_textStringDown);
}

void PLVMenuBarDoubleText::setTextStringUp(const QString &text)
{
    m_textStringUp = text;
    if (m_textFieldUp)
        m_textFieldUp->setStringValue(text);
}

void PLVMenuBarDoubleText::setTextStringDown(const QString &text)
{
    m_textStringDown = text;
    if (m_textFieldDown)
        m_textFieldDown->setStringValue(text);
}

PLVModuleNameStatusBarView::PLVModuleNameStatusBarView(QWidget *parent) : PLVView(parent) {}

PLVModuleNameStatusBarView::~PLVModuleNameStatusBarView()
{
    unbindLetters();
}

void PLVModuleNameStatusBarView::awakeFromNib()
{
    setFrameSize(QSizeF(10, frame().height()));
    if (!m_letterTop) {
        // 14 x 11 each, overlapping: the column is 23 points tall.
        const QFont font = menuBarFont(7, 0.4);
        auto make = [&](qreal y) {
            auto *label = new PLVLabelView;
            label->setFrame(QRectF(0, y, 14, 11));
            label->setTextFont(font);
            label->setDrawsBackground(false);
            return label;
        };
        m_letterTop = make(10);
        m_letterMiddle = make(4);
        m_letterBottom = make(-2);
        addSubview(m_letterTop);
        addSubview(m_letterMiddle);
        addSubview(m_letterBottom);
    }
    setThreeLetterName(m_threeLetterName);
    setColorObject(m_colorObject);
}

void PLVModuleNameStatusBarView::setThreeLetterName(const QString &name)
{
    m_threeLetterName = name;
    if (name.size() < 3 || !m_letterTop || !m_letterMiddle || !m_letterBottom)
        return;
    m_letterTop->setStringValue(name.mid(0, 1).toUpper());
    m_letterMiddle->setStringValue(name.mid(1, 1).toUpper());
    m_letterBottom->setStringValue(name.mid(2, 1).toUpper());
}

void PLVModuleNameStatusBarView::setColorObject(QObject *object)
{
    m_colorObject = object;
    if (!object || !m_letterTop || !m_letterMiddle || !m_letterBottom)
        return;
    for (PLVLabelView *label : {m_letterTop.data(), m_letterMiddle.data(), m_letterBottom.data()})
        PLVBinding::bind(label, "textColor", object, QStringLiteral("statusLabelColor"));
}

void PLVModuleNameStatusBarView::unbindLetters()
{
    for (PLVLabelView *label : {m_letterTop.data(), m_letterMiddle.data(), m_letterBottom.data()})
        if (label)
            PLVBinding::unbind(label, "textColor");
}
