#pragma once
#include <QPointer>
#include <QScrollArea>

class TQClipView;

// A scroll view that scrolls (and shows its vertical scroller) only while its
// document's height differs from its own; otherwise it hands scroll-wheel
// events to its superview, so that an outer scroll view scrolls instead.
//
// The document view keeps its own height and follows the scroll view's width.
// Every switch between the two states scrolls back to the top.
class PLVCombinedScrollView : public QScrollArea
{
    Q_OBJECT
    Q_PROPERTY(bool bouncingEnabled READ bouncingEnabled)
public:
    Q_INVOKABLE explicit PLVCombinedScrollView(QWidget *parent = nullptr);
    ~PLVCombinedScrollView() override;

    bool bouncingEnabled() const { return m_bouncingEnabled; }
    // 0 = automatic (elastic), 1 = none.
    int horizontalScrollElasticity() const { return m_horizontalElasticity; }
    int verticalScrollElasticity() const { return m_verticalElasticity; }

    TQClipView *contentView() const;
    QWidget *documentView() const { return widget(); }

    void updateForAutoLayout();
    // Takes ownership of the view.
    void setDocumentView(QWidget *view);
    // Frame changes: of this scroll view (boundsDidChange) and of its window (boundsDidChange2).
    void boundsDidChange(QObject *object);
    void boundsDidChange2(QObject *object);
    void scrollViewNeeded(bool needed);
    void scrollToTop();

    bool acceptsFirstResponder() const { return true; }
    bool canBecomeKeyView() const { return true; }

protected:
    void wheelEvent(QWheelEvent *event) override;
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    bool viewportEvent(QEvent *event) override;

private:
    void watchWindow();
    void followWidth();

    bool m_bouncingEnabled = false;
    int m_horizontalElasticity = 1;
    int m_verticalElasticity = 1;
    QPointer<QWidget> m_watchedWindow;
};
