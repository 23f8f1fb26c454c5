#pragma once
#include <QList>
#include <QObject>
#include <QPointF>
#include <QVariantList>

// Sample history of one or two series, kept as ready-to-draw points so that a
// graph hands the arrays to its path as they are (no copy, no conversion).
//
// Point k has x = k, except the newest point, which carries x = maxSizeVar once
// a value has been pushed (one column past its neighbour); graphs are drawn
// with that step and rely on it.
//
// Not synchronised: push and draw on the same thread, or serialise them.
class PLVGraphArrays : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kCapacity = 350;

    // Unsized (maxSizeVar 0): pushes are ignored until initArraysWithMaxSize().
    Q_INVOKABLE explicit PLVGraphArrays(QObject *parent = nullptr);

    // Sized to the full capacity, as when loaded from an interface file.
    Q_INVOKABLE void awakeFromNib();
    // Uses n points of each series and clears them. n is clamped to 1..350:
    // the arrays are fixed inside the object and nothing may run past them.
    Q_INVOKABLE void initArraysWithMaxSize(qint64 n);
    // Clears both series: points (k, 0), maximum of series 1 back to 0. The
    // maximum of series 2 is left as it is; its next push recomputes it.
    Q_INVOKABLE void initArrays();

    // Shift the series one point to the left and put v at the newest point;
    // the series maximum becomes the largest value held, but never below 0.
    Q_INVOKABLE void addNewValue(float value);
    Q_INVOKABLE void addNewValue2(float value);

    // maxSizeVar() points each, oldest first.
    const QPointF *arrayToDisplay() const { return pointArray; }
    const QPointF *arrayToDisplay2() const { return pointArray2; }
    // The first series' values, oldest first, as floats: how a model publishes
    // its history in modelData (a copy, safe to hand to the main thread).
    QVariantList valuesToPublish() const;
    // The reverse, on the view's side: series 1 becomes the newest maxSizeVar()
    // of the published values, as if pushed one by one onto a cleared buffer.
    void loadPublishedValues(const QVariantList &values);

    // The greater of the two series maxima (the first when they do not compare).
    Q_INVOKABLE float maxValue() const;
    float currentMaxValue() const { return m_currentMaxValue; }
    float currentMaxValue2() const { return m_currentMaxValue2; }
    qint64 maxSizeVar() const { return m_maxSizeVar; }

private:
    static void push(QPointF *points, qint64 n, float value, float &seriesMax);

    QPointF pointArray[kCapacity];
    QPointF pointArray2[kCapacity];
    float m_currentMaxValue = 0;
    float m_currentMaxValue2 = 0;
    qint64 m_maxSizeVar = 0;
};

// One history per graph of a multi-series graph.
//
// The owner sets the number of graphs first, then the size. New buffers are
// sized from the stored arrayMaxSize right away, so a count change with an
// unchanged size still leaves every buffer ready for pushes. Buffers handed out
// by graphArrayAtIndex() live until the next change of the count.
class PLVGraphArraysMultiple : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 arrayMaxSize READ arrayMaxSize WRITE setArrayMaxSize)
    Q_PROPERTY(qint64 numberOfGraphs READ numberOfGraphs WRITE setNumberOfGraphs)
public:
    Q_INVOKABLE explicit PLVGraphArraysMultiple(QObject *parent = nullptr);
    ~PLVGraphArraysMultiple() override;

    qint64 arrayMaxSize() const { return m_arrayMaxSize; }
    void setArrayMaxSize(qint64 n);
    qint64 numberOfGraphs() const { return m_numberOfGraphs; }
    void setNumberOfGraphs(qint64 n);

    // nullptr when the index is out of range.
    PLVGraphArrays *graphArrayAtIndex(qint64 index) const;
    void addNewValue(float value, qint64 forGraphAtIndex);
    void addNewValue2(float value, qint64 forGraphAtIndex);

private:
    QList<PLVGraphArrays *> arrayOfGraphArrays;
    qint64 m_arrayMaxSize = 0;
    qint64 m_numberOfGraphs = 0;
};
