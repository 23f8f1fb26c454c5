#pragma once
// A module's drop-down panel: its title and the panel view of its view
// controller (the expanded view, else the compact one), in a popup next to
// the point the panel gave; a click outside closes it.
#include <QPointer>
#include <QWidget>

class PLVColor;
class PLVGenericModuleController;

class ModulePanel : public QWidget
{
    Q_OBJECT
public:
    ModulePanel(const QString &title, PLVGenericModuleController *controller, QWidget *parent = nullptr);
    ~ModulePanel() override;

    // Opens next to `at` (global coordinates), kept on the screen that holds it.
    void popupAt(const QPoint &at);
    QWidget *contentView() const { return m_view; }

signals:
    void openChanged(bool open);

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void applyTheme();

    QString m_title;
    QPointer<QWidget> m_view;
    QPointer<PLVGenericModuleController> m_controller;
    QPointer<QWidget> m_home; // where the view lives while the panel is closed
    PLVColor *m_color = nullptr;
};
