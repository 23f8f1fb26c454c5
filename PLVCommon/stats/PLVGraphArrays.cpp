#include "PLVGraphArrays.h"

#include <algorithm>

#include "PLVCommon/platform/PLVClassRegistry.h"

PLV_REGISTER_CLASS(PLVGraphArrays)
PLV_REGISTER_CLASS(PLVGraphArraysMultiple)

PLVGraphArrays::PLVGraphArrays(QObject *parent) : QObject(parent) {}

void PLVGraphArrays::awakeFromNib()
{
    m_maxSizeVar = kCapacity;
    initArrays();
}

void PLVGraphArrays::initArraysWithMaxSize(qint64 n)
{
    m_maxSizeVar = qBound<qint64>(1, n, kCapacity);
    initArrays();
}

void PLVGraphArrays::initArrays()
{
    m_currentMaxValue = 0;
    for (qint64 k = 0; k < m_maxSizeVar; ++k) {
        pointArray[k] = QPointF(double(k), 0);
        pointArray2[k] = QPointF(double(k), 0);
    }
}

void PLVGraphArrays::push(QPointF *points, qint64 n, float value, float &seriesMax)
{
    seriesMax = 0;
    float running = 0;
    for (qint64 k = 1; k < n; ++k) {
        const double y = points[k].y();
        if (y > double(running)) {
            running = float(y);
            seriesMax = running;
        }
        points[k - 1].setY(y);
    }
    points[n - 1] = QPointF(double(n), double(value));
    if (value > seriesMax)
        seriesMax = value;
}

void PLVGraphArrays::addNewValue(float value)
{
    if (m_maxSizeVar < 1)
        return;
    push(pointArray, m_maxSizeVar, value, m_currentMaxValue);
}

void PLVGraphArrays::addNewValue2(float value)
{
    if (m_maxSizeVar < 1)
        return;
    push(pointArray2, m_maxSizeVar, value, m_currentMaxValue2);
}

QVariantList PLVGraphArrays::valuesToPublish() const
{
    QVariantList values;
    values.reserve(int(m_maxSizeVar));
    for (qint64 k = 0; k < m_maxSizeVar; ++k)
        values << float(pointArray[k].y());
    return values;
}

void PLVGraphArrays::loadPublishedValues(const QVariantList &values)
{
    const qint64 n = m_maxSizeVar;
    if (n < 1)
        return;
    const qint64 given = std::min<qint64>(n, values.size());
    const qint64 skip = values.size() - given;
    m_currentMaxValue = 0;
    for (qint64 k = 0; k < n; ++k) {
        const qint64 from = k - (n - given); // the leading columns stay empty
        const float v = from >= 0 ? values.at(skip + from).toFloat() : 0.0f;
        pointArray[k] = QPointF(double(k), double(v));
        if (v > m_currentMaxValue)
            m_currentMaxValue = v;
    }
    if (given > 0)
        pointArray[n - 1].setX(double(n));
}

float PLVGraphArrays::maxValue() const
{
    return m_currentMaxValue2 > m_currentMaxValue ? m_currentMaxValue2 : m_currentMaxValue;
}

PLVGraphArraysMultiple::PLVGraphArraysMultiple(QObject *parent) : QObject(parent) {}

PLVGraphArraysMultiple::~PLVGraphArraysMultiple() { qDeleteAll(arrayOfGraphArrays); }

void PLVGraphArraysMultiple::setNumberOfGraphs(qint64 n)
{
    if (n == m_numberOfGraphs)
        return;
    m_numberOfGraphs = n;
    qDeleteAll(arrayOfGraphArrays);
    arrayOfGraphArrays.clear();
    for (qint64 i = 0; i < n; ++i) {
        // Owned, not parented: a model resizes its histories on the global
        // queue, and a child must be created in its parent's thread. The new
        // buffer joins this object's thread instead.
        auto *buffer = new PLVGraphArrays;
        if (buffer->thread() != thread())
            buffer->moveToThread(thread());
        if (m_arrayMaxSize > 0)
            buffer->initArraysWithMaxSize(m_arrayMaxSize);
        arrayOfGraphArrays.append(buffer);
    }
}

void PLVGraphArraysMultiple::setArrayMaxSize(qint64 n)
{
    if (n == m_arrayMaxSize)
        return;
    m_arrayMaxSize = n;
    for (PLVGraphArrays *buffer : std::as_const(arrayOfGraphArrays))
        buffer->initArraysWithMaxSize(n);
}

PLVGraphArrays *PLVGraphArraysMultiple::graphArrayAtIndex(qint64 index) const
{
    if (index < 0 || index >= m_numberOfGraphs || index >= arrayOfGraphArrays.size())
        return nullptr;
    return arrayOfGraphArrays.at(index);
}

void PLVGraphArraysMultiple::addNewValue(float value, qint64 forGraphAtIndex)
{
    if (PLVGraphArrays *buffer = graphArrayAtIndex(forGraphAtIndex))
        buffer->addNewValue(value);
}

void PLVGraphArraysMultiple::addNewValue2(float value, qint64 forGraphAtIndex)
{
    if (PLVGraphArrays *buffer = graphArrayAtIndex(forGraphAtIndex))
        buffer->addNewValue2(value);
}
