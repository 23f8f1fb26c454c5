#include "PLVModelDataFeed.h"

#include "PLVCommon/core/PLVTextViews.h"
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/widgets/PLVGaugeview.h"
#include "PLVCommon/widgets/PLVGraph.h"
#include "PLVCommon/widgets/PLVProgressbar.h"

#include <QWidget>

#include <cmath>

namespace {

const char *const kKeyProperties[] = {"valueKey", "totalKey", "historyKey", "valuesKey"};

QString keyOf(const QObject *view, const char *name) { return view->property(name).toString(); }

QColor role(QObject *theme, const char *name) { return theme ? theme->property(name).value<QColor>() : QColor(); }

// The view's value in percent; NaN when the model has not published it (yet).
float percentOf(const QObject *view, const QVariantMap &data)
{
    const QVariant v = PLVModelDataFeed::valueForKeyPath(data, keyOf(view, "valueKey"));
    if (!v.isValid())
        return NAN;
    double value = v.toDouble();
    const QVariant scale = view->property("valueScale");
    if (scale.isValid())
        value *= scale.toDouble();
    const QString totalKey = keyOf(view, "totalKey");
    if (!totalKey.isEmpty()) {
        const double total = PLVModelDataFeed::valueForKeyPath(data, totalKey).toDouble();
        value = total > 0 ? 100.0 * value / total : NAN;
    }
    return float(value);
}

} // namespace

QVariant PLVModelDataFeed::valueForKeyPath(const QVariantMap &data, const QString &keyPath)
{
    if (keyPath.isEmpty())
        return {};
    QVariant current = data;
    for (const QString &step : keyPath.split(QLatin1Char('.'))) {
        if (current.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = current.toMap();
            const auto it = map.constFind(step);
            if (it == map.constEnd())
                return {};
            current = *it;
        } else if (current.typeId() == QMetaType::QVariantList) {
            bool ok = false;
            const int index = step.toInt(&ok);
            const QVariantList list = current.toList();
            if (!ok || index < 0 || index >= list.size())
                return {};
            current = list.at(index);
        } else {
            return {};
        }
    }
    return current;
}

QStringList PLVModelDataFeed::keyPathsOf(QWidget *view)
{
    QStringList keys;
    if (!view)
        return keys;
    QList<QWidget *> all = view->findChildren<QWidget *>();
    all.prepend(view);
    for (QWidget *w : std::as_const(all)) {
        for (const char *name : kKeyProperties)
            if (const QString key = keyOf(w, name); !key.isEmpty())
                keys << key;
        if (const PLVTextLines *text = PLVTextLines::of(w))
            keys << text->textKeys;
    }
    return keys;
}

QColor PLVModelDataFeed::trackColor(QObject *theme)
{
    QColor c = role(theme, "windowTertiaryLabelColor");
    if (c.isValid())
        c.setAlphaF(0.25f);
    return c;
}

void PLVModelDataFeed::feed(QWidget *panel, const QVariantMap &data, QObject *theme)
{
    if (!panel)
        return;
    const QColor graph = role(theme, "windowGraphBlueColor");
    const QColor graph2 = role(theme, "windowGraphBlueColor2");
    const QColor track = trackColor(theme);
    const QColor bar = role(theme, "windowProgressbarColor");
    for (QWidget *w : panel->findChildren<QWidget *>()) {
        if (auto *g = qobject_cast<PLVGraph *>(w)) {
            const QVariant history = valueForKeyPath(data, keyOf(g, "historyKey"));
            if (g->graphObject() && history.isValid())
                g->graphObject()->loadPublishedValues(history.toList());
            g->update();
        } else if (auto *gauge = qobject_cast<PLVGaugeview *>(w)) {
            if (qobject_cast<PLVGaugeViewMultiple *>(gauge->parentWidget()))
                continue; // fed by its row
            gauge->setInnerColor(graph);
            gauge->setInnerColor2(graph2);
            gauge->setOuterColor(track);
            if (const float p = percentOf(gauge, data); !std::isnan(p))
                gauge->setCurrentValue(p);
        } else if (auto *row = qobject_cast<PLVGaugeViewMultiple *>(w)) {
            const QVariantList values = valueForKeyPath(data, keyOf(row, "valuesKey")).toList();
            if (values.size() != row->numberOfGauges()) {
                // A first build leaves the shared form to its owner: hand it on.
                row->setNumberOfGauges(values.size());
                row->setGraphDefinedType(row->graphDefinedType());
                row->setGaugeDefinedType(row->gaugeDefinedType());
            }
            row->setInnerColor(graph);
            row->setInnerColor2(graph2);
            row->setOuterColor(track);
            const QVariant scale = row->property("valueScale");
            const double k = scale.isValid() ? scale.toDouble() : 1.0;
            for (int i = 0; i < values.size(); ++i)
                row->currentValue(float(values.at(i).toDouble() * k), i);
        } else if (auto *p = qobject_cast<PLVProgressbar *>(w)) {
            if (!p->colorObject())
                p->setColorObject(theme);
            if (p->innerColor() != bar)
                p->setInnerColor(bar);
            if (const float v = percentOf(p, data); !std::isnan(v))
                p->setProgressValue(v);
        } else if (auto *m = qobject_cast<PLVMiniProgressbar *>(w)) {
            if (m->innerColor() != bar)
                m->setInnerColor(bar);
            if (const float v = percentOf(m, data); !std::isnan(v))
                m->setProgressValue(v);
        } else if (auto *b = qobject_cast<PLVBatteryBar *>(w)) {
            b->setBorderColor(role(theme, "windowSecondaryLabelColor"));
            if (const float v = percentOf(b, data); !std::isnan(v))
                b->setProgressValue(v);
        }
    }
}
