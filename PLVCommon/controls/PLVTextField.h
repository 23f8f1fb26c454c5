#pragma once
#include <QLineEdit>
#include <QPointer>

#include <QMenu>

// Text field whose text and placeholder, as the interface file gives them, are
// keys of the "Localizable" table of the bundle holding the field's class.
class PLVTextField : public QLineEdit
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTextField(QWidget *parent = nullptr);
    QString PLVLoc(const QString &key) const;
    Q_INVOKABLE virtual void awakeFromNib();
};

// A label whose text can be copied, and only copied: a plain click does
// nothing (no selection, no editing); a right click or a Control-click opens a
// menu with one item, "Copy".
class PLVTextFieldCopy : public PLVTextField
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTextFieldCopy(QWidget *parent = nullptr);
    // Makes the copy menu; the text itself stays as loaded.
    void awakeFromNib() override;

    QMenu *menuCopy() const { return m_menuCopy; }
    // Puts the text, even an empty one, on the clipboard.
    Q_INVOKABLE void copyLabel();
    // Whether the clipboard now holds the string.
    static bool writeToPasteBoard(const QString &string);
    // The pointer in the window's coordinates.
    QPointF mouseLocation() const;
    // Opens the copy menu 5 points right of and above `point` (window coordinates).
    void openMenuForCopyPaste(const QPointF &point);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void rightMouseDown(const QPointF &windowPoint);
    QPointer<QMenu> m_menuCopy;
};

// A read-only unit label: not editable, no frame, no background.
class PLVTextFieldUnit : public QLineEdit
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTextFieldUnit(QWidget *parent = nullptr);
};
