#include "PLVButton.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QGridLayout>

PLV_REGISTER_CLASS(PLVButton)
PLV_REGISTER_CLASS(PLVPopUpButton)
PLV_REGISTER_CLASS(PLVMatrix)

PLVButton::PLVButton(QWidget *parent) : QPushButton(parent) {}

QString PLVButton::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }

void PLVButton::awakeFromNib() { setText(PLVLoc(text())); }

PLVPopUpButton::PLVPopUpButton(QWidget *parent) : QComboBox(parent) {}

QString PLVPopUpButton::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }

void PLVPopUpButton::awakeFromNib()
{
    for (int i = 0; i < count(); ++i)
        setItemText(i, PLVLoc(itemText(i)));
}

PLVMatrix::PLVMatrix(QWidget *parent) : QWidget(parent) {}

QString PLVMatrix::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }

void PLVMatrix::awakeFromNib()
{
    for (int row = 0; row < numberOfRows(); ++row)
        if (QAbstractButton *cell = cellAtRow(row, 0))
            cell->setText(PLVLoc(cell->text()));
}

int PLVMatrix::numberOfRows() const
{
    if (auto *grid = qobject_cast<QGridLayout *>(layout()))
        return grid->rowCount();
    if (auto *box = qobject_cast<QBoxLayout *>(layout()))
        return box->direction() == QBoxLayout::LeftToRight || box->direction() == QBoxLayout::RightToLeft ? 1 : box->count();
    return 0;
}

int PLVMatrix::numberOfColumns() const
{
    if (auto *grid = qobject_cast<QGridLayout *>(layout()))
        return grid->columnCount();
    if (auto *box = qobject_cast<QBoxLayout *>(layout()))
        return box->direction() == QBoxLayout::LeftToRight || box->direction() == QBoxLayout::RightToLeft ? box->count() : 1;
    return 0;
}

QAbstractButton *PLVMatrix::cellAtRow(int row, int column) const
{
    if (row < 0 || column < 0 || row >= numberOfRows() || column >= numberOfColumns())
        return nullptr;
    QLayoutItem *item = nullptr;
    if (auto *grid = qobject_cast<QGridLayout *>(layout()))
        item = grid->itemAtPosition(row, column);
    else if (auto *box = qobject_cast<QBoxLayout *>(layout()))
        item = box->itemAt(numberOfRows() == 1 ? column : row);
    return item ? qobject_cast<QAbstractButton *>(item->widget()) : nullptr;
}
