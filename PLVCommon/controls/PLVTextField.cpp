#include "PLVTextField.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QMouseEvent>

PLV_REGISTER_CLASS(PLVTextField)
PLV_REGISTER_CLASS(PLVTextFieldCopy)
PLV_REGISTER_CLASS(PLVTextFieldUnit)

PLVTextField::PLVTextField(QWidget *parent) : QLineEdit(parent) {}

QString PLVTextField::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }

void PLVTextField::awakeFromNib()
{
    setText(PLVLoc(text()));
    if (!placeholderText().isEmpty())
        setPlaceholderText(PLVLoc(placeholderText()));
}

PLVTextFieldCopy::PLVTextFieldCopy(QWidget *parent) : PLVTextField(parent)
{
    // A label: read-only, drawn on its superview's background.
    setReadOnly(true);
    setFrame(false);
    setFocusPolicy(Qt::NoFocus);
    QPalette pal = palette();
    pal.setColor(QPalette::Base, Qt::transparent);
    setPalette(pal);
}

void PLVTextFieldCopy::awakeFromNib()
{
    if (m_menuCopy)
        return;
    m_menuCopy = new QMenu(QStringLiteral("copy"), this);
    m_menuCopy->addAction(PLVLoc(QStringLiteral("Copy")), this, &PLVTextFieldCopy::copyLabel);
}

void PLVTextFieldCopy::copyLabel()
{
    // A line edit always has a text, if only an empty one, and that is copied too.
    writeToPasteBoard(text());
}

bool PLVTextFieldCopy::writeToPasteBoard(const QString &string)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (!clipboard)
        return false;
    clipboard->setText(string, QClipboard::Clipboard);
    return clipboard->text(QClipboard::Clipboard) == string;
}

QPointF PLVTextFieldCopy::mouseLocation() const { return window()->mapFromGlobal(QCursor::pos()); }

void PLVTextFieldCopy::openMenuForCopyPaste(const QPointF &point)
{
    if (!m_menuCopy)
        awakeFromNib(); // made in code rather than loaded
    // 5 points right and 5 up: Qt's y grows downwards.
    const QPoint global = window()->mapToGlobal((point + QPointF(5.0, -5.0)).toPoint());
    m_menuCopy->popup(global);
}

void PLVTextFieldCopy::rightMouseDown(const QPointF &windowPoint) { openMenuForCopyPaste(windowPoint); }

void PLVTextFieldCopy::mousePressEvent(QMouseEvent *event)
{
    // The pointer where the button went down: a later read of the pointer may
    // be somewhere else, or (Wayland) not be possible at all.
    const QPointF inWindow = mapTo(window(), event->position().toPoint());
    if (event->button() == Qt::RightButton
        || (event->button() == Qt::LeftButton && (event->modifiers() & Qt::ControlModifier)))
        rightMouseDown(inWindow);
    event->accept(); // nothing else: the text is neither selected nor edited by clicking
}

void PLVTextFieldCopy::mouseMoveEvent(QMouseEvent *event) { event->accept(); }
void PLVTextFieldCopy::mouseReleaseEvent(QMouseEvent *event) { event->accept(); }
void PLVTextFieldCopy::mouseDoubleClickEvent(QMouseEvent *event) { event->accept(); }

void PLVTextFieldCopy::contextMenuEvent(QContextMenuEvent *event)
{
    // The mouse's menu opened on the press; the keyboard's opens at the field.
    if (event->reason() == QContextMenuEvent::Keyboard)
        openMenuForCopyPaste(mapTo(window(), QPoint(0, height())));
    event->accept();
}

PLVTextFieldUnit::PLVTextFieldUnit(QWidget *parent) : QLineEdit(parent)
{
    setReadOnly(true);
    setFrame(false);
    setFocusPolicy(Qt::NoFocus);
    setAutoFillBackground(false);
    QPalette pal = palette();
    pal.setColor(QPalette::Base, Qt::transparent);
    setPalette(pal);
}
