#pragma once
// Module views that show texts of `modelData`: a title and one line per key
// of `textKeys`, "<label> <value>" with the label of `textLabels` at the same
// place. Both lists are properties, so an interface file configures the view.
#include "PLVCommon/core/PLVGenericViews.h"

#include <QStringList>

struct PLVTextLines {
    QString title;
    QStringList textKeys;
    QStringList textLabels;
    QStringList lines; // what was drawn last

    void update(const PLVModelData &data);
    void draw(QPainter &painter, const QRectF &bounds, const QColor &color) const;
    // The text of a text view, or null for any other widget.
    static PLVTextLines *of(QWidget *view);
};

class PLVTextStatusbarView : public PLVGenericStatusbarview
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title WRITE setTitle)
    Q_PROPERTY(QStringList textKeys READ textKeys WRITE setTextKeys)
    Q_PROPERTY(QStringList textLabels READ textLabels WRITE setTextLabels)
    Q_PROPERTY(QStringList lines READ lines)
public:
    Q_INVOKABLE explicit PLVTextStatusbarView(QWidget *parent = nullptr);
    QString title() const { return text.title; }
    void setTitle(const QString &t) { text.title = t; }
    QStringList textKeys() const { return text.textKeys; }
    void setTextKeys(const QStringList &k) { text.textKeys = k; }
    QStringList textLabels() const { return text.textLabels; }
    void setTextLabels(const QStringList &l) { text.textLabels = l; }
    QStringList lines() const { return text.lines; }
    void updateView() override;

    PLVTextLines text;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;
};

class PLVTextPanelView : public PLVGenericStatusbarCompactExpandedView
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title WRITE setTitle)
    Q_PROPERTY(QStringList textKeys READ textKeys WRITE setTextKeys)
    Q_PROPERTY(QStringList textLabels READ textLabels WRITE setTextLabels)
    Q_PROPERTY(QStringList lines READ lines)
public:
    Q_INVOKABLE explicit PLVTextPanelView(QWidget *parent = nullptr);
    QString title() const { return text.title; }
    void setTitle(const QString &t) { text.title = t; }
    QStringList textKeys() const { return text.textKeys; }
    void setTextKeys(const QStringList &k) { text.textKeys = k; }
    QStringList textLabels() const { return text.textLabels; }
    void setTextLabels(const QStringList &l) { text.textLabels = l; }
    QStringList lines() const { return text.lines; }
    void updateView() override;
    void clearView() override { text.lines.clear(); }

    PLVTextLines text;
    // The colours of the graphs, gauges and bars inside the panel.
    QObject *theme();

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    QObject *m_theme = nullptr;
};
