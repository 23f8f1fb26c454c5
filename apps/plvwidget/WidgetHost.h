#pragma once
#include "PLVCommon/panels/TQTodayStandAloneViewController.h"

#include <QAction>
#include <QApplication>
#include <QHash>
#include <QPointer>
#include <QRect>
#include <QTimer>

// The widget host's own application class: the library tells the widget host
// from the monitor by it.
class PLVWidgetApplication : public QApplication
{
    Q_OBJECT
public:
    PLVWidgetApplication(int &argc, char **argv) : QApplication(argc, argv) {}
};

// The controller as plvwidget uses it: modules from the plug-ins folders, and
// the heights. The container is as tall as the shown view wants, up to a cap;
// "Show More" lifts the cap, and the bar is there only while something is cut.
class WidgetViewController : public TQTodayStandAloneViewController
{
    Q_OBJECT
public:
    static constexpr int kCappedHeight = 120;

    WidgetViewController(QStringList folders, QString plugin, QObject *parent = nullptr);
    QStringList plugInsFolders() const override { return m_folders; }
    QString bundlePluginName() const override { return m_plugin; }
    void addBundle(PLVBundle *bundle) override;
    void changeDisplayView() override;
    void updateExpandedStatusSubclass() override;

    // Applies the current view type and show-more state to the heights.
    void updateHeights();
    // While editing, the window is tall enough for the pane's two choices.
    void setEditing(bool editing);

private:
    QStringList m_folders;
    QString m_plugin;
    QHash<QWidget *, int> m_naturalHeights;
    QList<QPointer<QWidget>> m_borrowedViews;
    bool m_editing = false;
};

// The window: a small frameless window that stays below the others and off
// the task bar where the window manager allows it, remembers where it was,
// follows the monitor's settings and grows or shrinks to its content.
class WidgetHost : public QObject
{
    Q_OBJECT
public:
    struct Options {
        QString screenshotPath; // written each time the window settles
        bool report = false;    // one line on stdout each time it settles
    };

    WidgetHost(WidgetViewController *controller, QString moduleName, Options options, QObject *parent = nullptr);
    ~WidgetHost() override;
    void show();
    void setEditing(bool editing);

    // Where the window goes: the saved frame when some screen shows enough of
    // it, else the top right corner of the primary screen.
    static QRect placement(const QVariant &saved, const QSize &size);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fittingSizeChanged(const QSize &size);
    void settled();
    void saveFrame();
    void settingsChanged();

    WidgetViewController *m_controller;
    QPointer<QWidget> m_window;
    QString m_moduleName;
    Options m_options;
    QSize m_target;
    QTimer m_saveTimer;
    bool m_placed = false;
    QAction *m_edit = nullptr;
};
