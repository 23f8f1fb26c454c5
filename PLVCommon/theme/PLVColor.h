#pragma once
#include <QColor>
#include <QFont>
#include <QObject>

#include <optional>

class QWidget;
struct PLVNotification;

// The theme object: every colour and font role the views draw with.
//
// Not a singleton: each view that draws makes its own and reads the roles by
// property name, or binds one of its properties to a role (PLVBinding). Every
// instance follows four process-local notifications:
// "PLVWindowBackgroundStyleDark" / "PLVWindowBackgroundStyleLight" (the window
// roles, used in panels and the widget), "PLVBackgroundColorIntegerDidChanged"
// (white graphs on a coloured dark background) and "PLVMenubarHighlightMode"
// (whether a status item may take the highlighted look).
//
// A new instance starts with the dark window roles; in the widget host it takes
// the desktop's appearance instead.
class PLVColor : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool menuBarHighlightMode READ menuBarHighlightMode)
    Q_PROPERTY(qint64 windowBackgroundIntegerColor READ windowBackgroundIntegerColor)
    Q_PROPERTY(bool statusBarHighlight READ statusBarHighlight WRITE setStatusBarHighlight)
    Q_PROPERTY(QColor statusLabelColor READ statusLabelColor WRITE setStatusLabelColor NOTIFY statusLabelColorChanged)
    Q_PROPERTY(QColor statusSecondaryLabelColor READ statusSecondaryLabelColor WRITE setStatusSecondaryLabelColor NOTIFY statusSecondaryLabelColorChanged)
    Q_PROPERTY(QColor statusTertiaryLabelColor READ statusTertiaryLabelColor WRITE setStatusTertiaryLabelColor NOTIFY statusTertiaryLabelColorChanged)
    Q_PROPERTY(QColor statusQuarternaryLabelColor READ statusQuarternaryLabelColor WRITE setStatusQuarternaryLabelColor NOTIFY statusQuarternaryLabelColorChanged)
    Q_PROPERTY(QColor statusIconColor READ statusIconColor WRITE setStatusIconColor NOTIFY statusIconColorChanged)
    Q_PROPERTY(QColor windowLabelColor READ windowLabelColor WRITE setWindowLabelColor NOTIFY windowLabelColorChanged)
    Q_PROPERTY(QColor windowSecondaryLabelColor READ windowSecondaryLabelColor WRITE setWindowSecondaryLabelColor NOTIFY windowSecondaryLabelColorChanged)
    Q_PROPERTY(QColor windowTertiaryLabelColor READ windowTertiaryLabelColor WRITE setWindowTertiaryLabelColor NOTIFY windowTertiaryLabelColorChanged)
    Q_PROPERTY(QColor windowTitleLabelColor READ windowTitleLabelColor WRITE setWindowTitleLabelColor NOTIFY windowTitleLabelColorChanged)
    Q_PROPERTY(QColor windowTitleBarColor READ windowTitleBarColor WRITE setWindowTitleBarColor NOTIFY windowTitleBarColorChanged)
    Q_PROPERTY(QColor windowProgressbarColor READ windowProgressbarColor WRITE setWindowProgressbarColor NOTIFY windowProgressbarColorChanged)
    Q_PROPERTY(QColor windowIconActiveColor READ windowIconActiveColor WRITE setWindowIconActiveColor NOTIFY windowIconActiveColorChanged)
    Q_PROPERTY(QColor windowIconInactiveColor READ windowIconInactiveColor WRITE setWindowIconInactiveColor NOTIFY windowIconInactiveColorChanged)
    Q_PROPERTY(QColor windowTrafficLightInactiveColor READ windowTrafficLightInactiveColor WRITE setWindowTrafficLightInactiveColor NOTIFY windowTrafficLightInactiveColorChanged)
    Q_PROPERTY(QColor windowIconPushedColor READ windowIconPushedColor WRITE setWindowIconPushedColor NOTIFY windowIconPushedColorChanged)
    Q_PROPERTY(QColor warningColor READ warningColor WRITE setWarningColor NOTIFY warningColorChanged)
    Q_PROPERTY(QColor alertColor READ alertColor WRITE setAlertColor NOTIFY alertColorChanged)
    Q_PROPERTY(QColor windowGraphBlueColor READ windowGraphBlueColor WRITE setWindowGraphBlueColor NOTIFY windowGraphBlueColorChanged)
    Q_PROPERTY(QColor windowGraphBlueColor2 READ windowGraphBlueColor2 WRITE setWindowGraphBlueColor2 NOTIFY windowGraphBlueColor2Changed)
    Q_PROPERTY(QFont fontforLeftLabels READ fontforLeftLabels WRITE setFontforLeftLabels NOTIFY fontforLeftLabelsChanged)
    Q_PROPERTY(QFont fontforRightLabels READ fontforRightLabels WRITE setFontforRightLabels NOTIFY fontforRightLabelsChanged)
    Q_PROPERTY(QFont fontforModuletitle READ fontforModuletitle WRITE setFontforModuletitle NOTIFY fontforModuletitleChanged)
    Q_PROPERTY(QFont fontforMiniModuletitle READ fontforMiniModuletitle WRITE setFontforMiniModuletitle NOTIFY fontforMiniModuletitleChanged)
    Q_PROPERTY(QFont fontforMiniOverviewModuletitle READ fontforMiniOverviewModuletitle WRITE setFontforMiniOverviewModuletitle NOTIFY fontforMiniOverviewModuletitleChanged)
    Q_PROPERTY(QFont fontforMiniOverviewDoubleString READ fontforMiniOverviewDoubleString WRITE setFontforMiniOverviewDoubleString NOTIFY fontforMiniOverviewDoubleStringChanged)
    Q_PROPERTY(QFont fontforTopProcess READ fontforTopProcess WRITE setFontforTopProcess NOTIFY fontforTopProcessChanged)
    Q_PROPERTY(QFont fontforGPULabels READ fontforGPULabels WRITE setFontforGPULabels NOTIFY fontforGPULabelsChanged)
    Q_PROPERTY(qint64 windowBackgroundStyle READ windowBackgroundStyle WRITE setWindowBackgroundStyle NOTIFY windowBackgroundStyleChanged)
    Q_PROPERTY(qint64 statusItemBackgroundStyle READ statusItemBackgroundStyle WRITE setStatusItemBackgroundStyle NOTIFY statusItemBackgroundStyleChanged)
public:
    Q_INVOKABLE explicit PLVColor(QObject *parent = nullptr);
    ~PLVColor() override;

    bool menuBarHighlightMode() const { return m_menuBarHighlightMode; }
    qint64 windowBackgroundIntegerColor() const { return m_windowBackgroundIntegerColor; }
    bool statusBarHighlight() const { return m_statusBarHighlight; }
    void setStatusBarHighlight(bool highlight) { m_statusBarHighlight = highlight; }

    QColor statusLabelColor() const { return m_statusLabelColor; }
    void setStatusLabelColor(const QColor &color);
    QColor statusSecondaryLabelColor() const { return m_statusSecondaryLabelColor; }
    void setStatusSecondaryLabelColor(const QColor &color);
    QColor statusTertiaryLabelColor() const { return m_statusTertiaryLabelColor; }
    void setStatusTertiaryLabelColor(const QColor &color);
    QColor statusQuarternaryLabelColor() const { return m_statusQuarternaryLabelColor; }
    void setStatusQuarternaryLabelColor(const QColor &color);
    QColor statusIconColor() const { return m_statusIconColor; }
    void setStatusIconColor(const QColor &color);
    QColor windowLabelColor() const { return m_windowLabelColor; }
    void setWindowLabelColor(const QColor &color);
    QColor windowSecondaryLabelColor() const { return m_windowSecondaryLabelColor; }
    void setWindowSecondaryLabelColor(const QColor &color);
    QColor windowTertiaryLabelColor() const { return m_windowTertiaryLabelColor; }
    void setWindowTertiaryLabelColor(const QColor &color);
    QColor windowTitleLabelColor() const { return m_windowTitleLabelColor; }
    void setWindowTitleLabelColor(const QColor &color);
    QColor windowTitleBarColor() const { return m_windowTitleBarColor; }
    void setWindowTitleBarColor(const QColor &color);
    QColor windowProgressbarColor() const { return m_windowProgressbarColor; }
    void setWindowProgressbarColor(const QColor &color);
    QColor windowIconActiveColor() const { return m_windowIconActiveColor; }
    void setWindowIconActiveColor(const QColor &color);
    QColor windowIconInactiveColor() const { return m_windowIconInactiveColor; }
    void setWindowIconInactiveColor(const QColor &color);
    QColor windowTrafficLightInactiveColor() const { return m_windowTrafficLightInactiveColor; }
    void setWindowTrafficLightInactiveColor(const QColor &color);
    QColor windowIconPushedColor() const { return m_windowIconPushedColor; }
    void setWindowIconPushedColor(const QColor &color);
    QColor warningColor() const { return m_warningColor; }
    void setWarningColor(const QColor &color);
    QColor alertColor() const { return m_alertColor; }
    void setAlertColor(const QColor &color);
    QColor windowGraphBlueColor() const { return m_windowGraphBlueColor; }
    void setWindowGraphBlueColor(const QColor &color);
    QColor windowGraphBlueColor2() const { return m_windowGraphBlueColor2; }
    void setWindowGraphBlueColor2(const QColor &color);
    QFont fontforLeftLabels() const { return m_fontforLeftLabels; }
    void setFontforLeftLabels(const QFont &font);
    QFont fontforRightLabels() const { return m_fontforRightLabels; }
    void setFontforRightLabels(const QFont &font);
    QFont fontforModuletitle() const { return m_fontforModuletitle; }
    void setFontforModuletitle(const QFont &font);
    QFont fontforMiniModuletitle() const { return m_fontforMiniModuletitle; }
    void setFontforMiniModuletitle(const QFont &font);
    QFont fontforMiniOverviewModuletitle() const { return m_fontforMiniOverviewModuletitle; }
    void setFontforMiniOverviewModuletitle(const QFont &font);
    QFont fontforMiniOverviewDoubleString() const { return m_fontforMiniOverviewDoubleString; }
    void setFontforMiniOverviewDoubleString(const QFont &font);
    QFont fontforTopProcess() const { return m_fontforTopProcess; }
    void setFontforTopProcess(const QFont &font);
    QFont fontforGPULabels() const { return m_fontforGPULabels; }
    void setFontforGPULabels(const QFont &font);

    qint64 windowBackgroundStyle() const { return m_windowBackgroundStyle; }
    // 0 light, anything else dark; recomputes the window roles.
    void setWindowBackgroundStyle(qint64 style);
    qint64 statusItemBackgroundStyle() const { return m_statusItemBackgroundStyle; }
    // 0 normal, anything else highlighted (unless the highlight mode forbids it);
    // recomputes the status roles.
    void setStatusItemBackgroundStyle(qint64 style);

    // The set-up: registers for the notifications and computes every role.
    Q_INVOKABLE void awakeFromNib();
    Q_INVOKABLE void windowBackgroundStyleChangeDark(const PLVNotification &notification);
    Q_INVOKABLE void windowBackgroundStyleChangeLight(const PLVNotification &notification);
    // The notification's object is a number (a property "value" or "integerValue",
    // or userInfo["object"]); none stores 0.
    Q_INVOKABLE void windowBackgroundColorIntegerDidChanged(const PLVNotification &notification);
    Q_INVOKABLE void menubarHighlightMode(const PLVNotification &notification);
    void menubarHighlightMode();
    void updateColorForTodayExtension();
    bool isDarkMenuBar() const;
    // Takes the highlight of the status item view among the direct children of
    // the view's window.
    void refreshColorForView(QWidget *view);
    // The first direct child of `view` whose class is (or derives from) the class
    // registered as "PLVStatusItemView"; nullptr when none or no such class.
    QWidget *statusItemView(QWidget *view) const;
    QVariant getValueFromThePrefDico(const QString &key) const;

    // The desktop's UI font at that size and weight (-1...1, 0 regular, 0.23
    // medium, 0.4 bold), with digits of one width so values do not shift.
    static QFont fontForTextWithWeight(double weight, float forSize);
    static constexpr double NSFontWeightRegular = 0.0;
    static constexpr double NSFontWeightMedium = 0.23;

    // The minor component of the operating system version the palette was
    // designed against; 0 where there is none (every Linux desktop), unless a
    // host sets one with setCurrentRelease().
    static qint64 currentRelease();
    static void setCurrentRelease(std::optional<qint64> release);

signals:
    void statusLabelColorChanged();
    void statusSecondaryLabelColorChanged();
    void statusTertiaryLabelColorChanged();
    void statusQuarternaryLabelColorChanged();
    void statusIconColorChanged();
    void windowLabelColorChanged();
    void windowSecondaryLabelColorChanged();
    void windowTertiaryLabelColorChanged();
    void windowTitleLabelColorChanged();
    void windowTitleBarColorChanged();
    void windowProgressbarColorChanged();
    void windowIconActiveColorChanged();
    void windowIconInactiveColorChanged();
    void windowTrafficLightInactiveColorChanged();
    void windowIconPushedColorChanged();
    void warningColorChanged();
    void alertColorChanged();
    void windowGraphBlueColorChanged();
    void windowGraphBlueColor2Changed();
    void fontforLeftLabelsChanged();
    void fontforRightLabelsChanged();
    void fontforModuletitleChanged();
    void fontforMiniModuletitleChanged();
    void fontforMiniOverviewModuletitleChanged();
    void fontforMiniOverviewDoubleStringChanged();
    void fontforTopProcessChanged();
    void fontforGPULabelsChanged();
    void windowBackgroundStyleChanged();
    void statusItemBackgroundStyleChanged();

private:
    bool m_menuBarHighlightMode = false;
    qint64 m_windowBackgroundIntegerColor = 0;
    bool m_statusBarHighlight = false;
    QColor m_statusLabelColor;
    QColor m_statusSecondaryLabelColor;
    QColor m_statusTertiaryLabelColor;
    QColor m_statusQuarternaryLabelColor;
    QColor m_statusIconColor;
    QColor m_windowLabelColor;
    QColor m_windowSecondaryLabelColor;
    QColor m_windowTertiaryLabelColor;
    QColor m_windowTitleLabelColor;
    QColor m_windowTitleBarColor;
    QColor m_windowProgressbarColor;
    QColor m_windowIconActiveColor;
    QColor m_windowIconInactiveColor;
    QColor m_windowTrafficLightInactiveColor;
    QColor m_windowIconPushedColor;
    QColor m_warningColor;
    QColor m_alertColor;
    QColor m_windowGraphBlueColor;
    QColor m_windowGraphBlueColor2;
    QFont m_fontforLeftLabels;
    QFont m_fontforRightLabels;
    QFont m_fontforModuletitle;
    QFont m_fontforMiniModuletitle;
    QFont m_fontforMiniOverviewModuletitle;
    QFont m_fontforMiniOverviewDoubleString;
    QFont m_fontforTopProcess;
    QFont m_fontforGPULabels;
    qint64 m_windowBackgroundStyle = 0;
    qint64 m_statusItemBackgroundStyle = 0;
};
