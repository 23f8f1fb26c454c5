#pragma once
#include <QComboBox>
#include <QPushButton>
#include <QWidget>

class QAbstractButton;

// Push button whose title, as the interface file gives it, is a key of the
// "Localizable" table of the bundle holding the button's class.
class PLVButton : public QPushButton
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVButton(QWidget *parent = nullptr);
    // Translated text of the key; the key itself when the table has none.
    QString PLVLoc(const QString &key) const;
    Q_INVOKABLE virtual void awakeFromNib();
};

// Pop-up button (a combo box) whose item titles are localisation keys.
class PLVPopUpButton : public QComboBox
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVPopUpButton(QWidget *parent = nullptr);
    QString PLVLoc(const QString &key) const;
    Q_INVOKABLE virtual void awakeFromNib();
};

// A matrix of button cells: the buttons of its grid layout (or of a box layout,
// one row or one column). The titles of the first column are localisation keys.
class PLVMatrix : public QWidget
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMatrix(QWidget *parent = nullptr);
    QString PLVLoc(const QString &key) const;
    Q_INVOKABLE virtual void awakeFromNib();

    int numberOfRows() const;
    int numberOfColumns() const;
    // The button cell at a row and column; null for an empty place.
    QAbstractButton *cellAtRow(int row, int column) const;
};
