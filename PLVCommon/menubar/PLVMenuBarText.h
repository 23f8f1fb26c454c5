#pragma once
// The texts of a status item: a value label that takes one of a few fixed
// widths by the kind of value it shows, two stacked labels (upload above
// download), and the module's three-letter name as a narrow column.
#include "PLVCommon/menubar/PLVLabelView.h"

#include <QPointer>

// A value label. `textUnitType` picks the width rule (0-5), applied at the next text.
class PLVMenuBarText : public PLVLabelView
{
    Q_OBJECT
    Q_PROPERTY(QString textString READ textString WRITE setTextString)
    Q_PROPERTY(qint64 textUnitType READ textUnitType WRITE setTextUnitType)
public:
    Q_INVOKABLE explicit PLVMenuBarText(QWidget *parent = nullptr);

    QString textString() const { return m_textString; }
    // Stores the text; a non-null one is shown and the width follows its rule.
    void setTextString(const QString &text);
    qint64 textUnitType() const { return m_textUnitType; }
    void setTextUnitType(qint64 type) { m_textUnitType = type; }

    void updateViewSize();
    // The text's width plus 4, rounded up; 4 without text.
    float sizeOfLabelString() const;
    // Sets the view's size unless it has exactly that size already; null does nothing.
    static void resizeView(QWidget *view, qreal width, qreal height);

private:
    QString m_textString;
    qint64 m_textUnitType = 0;
};

// Two stacked labels: the upload value above the download value.
class PLVMenuBarDoubleText : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(PLVLabelView *textFieldUp READ textFieldUp WRITE setTextFieldUp)
    Q_PROPERTY(PLVLabelView *textFieldDown READ textFieldDown WRITE setTextFieldDown)
    Q_PROPERTY(QString textStringUp READ textStringUp WRITE setTextStringUp)
    Q_PROPERTY(QString textStringDown READ textStringDown WRITE setTextStringDown)
    Q_PROPERTY(qint64 textUnitType READ textUnitType WRITE setTextUnitType)
public:
    Q_INVOKABLE explicit PLVMenuBarDoubleText(QWidget *parent = nullptr);

    // Labels an interface file did not connect are made here: each half of the view.
    void awakeFromNib() override;

    PLVLabelView *textFieldUp() const { return m_textFieldUp; }
    void setTextFieldUp(PLVLabelView *field) { m_textFieldUp = field; }
    PLVLabelView *textFieldDown() const { return m_textFieldDown; }
    void setTextFieldDown(PLVLabelView *field) { m_textFieldDown = field; }
    QString textStringUp() const { return m_textStringUp; }
    void setTextStringUp(const QString &text);
    QString textStringDown() const { return m_textStringDown; }
    void setTextStringDown(const QString &text);
    qint64 textUnitType() const { return m_textUnitType; }
    void setTextUnitType(qint64 type) { m_textUnitType = type; }

private:
    QPointer<PLVLabelView> m_textFieldUp;
    QPointer<PLVLabelView> m_textFieldDown;
    QString m_textStringUp;
    QString m_textStringDown;
    qint64 m_textUnitType = 0;
};

// The module's name as three stacked capitals in a column 10 points wide,
// coloured by the theme object's `statusLabelColor`.
class PLVModuleNameStatusBarView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QString threeLetterName READ threeLetterName WRITE setThreeLetterName)
    Q_PROPERTY(QObject *colorObject READ colorObject WRITE setColorObject)
public:
    Q_INVOKABLE explicit PLVModuleNameStatusBarView(QWidget *parent = nullptr);
    ~PLVModuleNameStatusBarView() override;

    void awakeFromNib() override;

    QString threeLetterName() const { return m_threeLetterName; }
    // Names shorter than 3 characters leave the letters on screen as they were.
    void setThreeLetterName(const QString &name);
    QObject *colorObject() const { return m_colorObject; }
    // Binds each letter's colour to the object's "statusLabelColor" once the letters exist.
    void setColorObject(QObject *object);

    PLVLabelView *letterTop() const { return m_letterTop; }
    PLVLabelView *letterMiddle() const { return m_letterMiddle; }
    PLVLabelView *letterBottom() const { return m_letterBottom; }

private:
    void unbindLetters();

    QString m_threeLetterName;
    QPointer<QObject> m_colorObject;
    QPointer<PLVLabelView> m_letterTop;
    QPointer<PLVLabelView> m_letterMiddle;
    QPointer<PLVLabelView> m_letterBottom;
};
