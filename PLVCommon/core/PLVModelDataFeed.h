#pragma once
// How the drawing views inside a module's panel get their values: the interface
// file puts dynamic properties on each view, naming key paths of `modelData`,
// and the panel hands the views its snapshot at every update.
//
//   valueKey     a number: a gauge's or a bar's value in percent
//   valueScale   multiplies it (0.0-1.0 shares shown as percent use 100)
//   totalKey     divides it, as a share of that total, in percent
//   historyKey   a list of numbers, oldest first: a history graph's samples
//   valuesKey    a list of numbers: one gauge of a multi-gauge each
//
// A key path is keys and list indexes joined by dots: "gpuList.0.history".
// Colours come from the panel's theme object.
#include <QColor>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

class QObject;
class QWidget;

namespace PLVModelDataFeed {

// An invalid QVariant when any step of the path is missing.
QVariant valueForKeyPath(const QVariantMap &data, const QString &keyPath);
// Every key path the view and its descendants read (text keys included).
QStringList keyPathsOf(QWidget *view);
// The background track of gauges: the theme's tertiary label colour, faded so
// that the value part stands out on light and dark panels alike.
QColor trackColor(QObject *theme);
// Gives each drawing view under `panel` its values, and colours from `theme`.
void feed(QWidget *panel, const QVariantMap &data, QObject *theme);

} // namespace PLVModelDataFeed
