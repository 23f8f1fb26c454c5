#pragma once
// What the monitor's module bundles have in common: a controller that runs
// one model update at a time and hands view updates to its view controller,
// a view controller that updates the views it bound, and views that show
// texts of `modelData` listed in the interface file.
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVGenericViewController.h"
#include "PLVCommon/core/PLVGenericViews.h"

#include <QStringList>

class PLVModuleControllerBase : public PLVGenericModuleController
{
    Q_OBJECT
public:
    using PLVGenericModuleController::PLVGenericModuleController;
    // Ticks may overlap on the global queue: an update that finds the previous
    // one still running is skipped.
    void updateModel() override;
    void updateViews() override;
};

class PLVModuleViewControllerBase : public PLVGenericViewController
{
    Q_OBJECT
public:
    using PLVGenericViewController::PLVGenericViewController;
    // Updates every view bound in this kind of process.
    void updateViews() override;
};

// Draws a title and one line per key of `textKeys`: "<label> <value>", the label
// the translated entry of `textLabels` at the same place (none when missing).
struct PLVTextLines {
    QString title;
    QStringList textKeys;
    QStringList textLabels;
    QStringList lines; // what was drawn last

    void update(const PLVModelData &data, const std::function<QString(const QString &)> &translate);
    void draw(QPainter &painter, const QRectF &bounds, const QPalette &palette) const;
};


class PLVTextStatusbarView : public PLVGenericStatusbarview
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title WRITE setTitle)
    Q_PROPERTY(QStringList textKeys READ textKeys WRITE setTextKeys)
    Q_PROPERTY(QStringList textLabels READ textLabels WRITE setTextLabels)
    Q_PROPERTY(QStringList lines READ lines)
public:
    using PLVGenericStatusbarview::PLVGenericStatusbarview;
    QString title() const { return m_text.title; }
    void setTitle(const QString &t) { m_text.title = t; }
    QStringList textKeys() const { return m_text.textKeys; }
    void setTextKeys(const QStringList &k) { m_text.textKeys = k; }
    QStringList textLabels() const { return m_text.textLabels; }
    void setTextLabels(const QStringList &l) { m_text.textLabels = l; }
    QStringList lines() const { return m_text.lines; }
    void updateView() override;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    PLVTextLines m_text;
};

class PLVTextPanelView : public PLVGenericStatusbarCompactExpandedView
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title WRITE setTitle)
    Q_PROPERTY(QStringList textKeys READ textKeys WRITE setTextKeys)
    Q_PROPERTY(QStringList textLabels READ textLabels WRITE setTextLabels)
    Q_PROPERTY(QStringList lines READ lines)
public:
    using PLVGenericStatusbarCompactExpandedView::PLVGenericStatusbarCompactExpandedView;
    QString title() const { return m_text.title; }
    void setTitle(const QString &t) { m_text.title = t; }
    QStringList textKeys() const { return m_text.textKeys; }
    void setTextKeys(const QStringList &k) { m_text.textKeys = k; }
    QStringList textLabels() const { return m_text.textLabels; }
    void setTextLabels(const QStringList &l) { m_text.textLabels = l; }
    QStringList lines() const { return m_text.lines; }
    void updateView() override;
    void clearView() override;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    PLVTextLines m_text;
};
