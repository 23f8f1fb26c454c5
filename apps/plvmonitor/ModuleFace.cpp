#include "ModuleFace.h"

#include "PLVCommon/core/PLVDisplaynameForModules.h"
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"
#include "PLVCommon/core/PLVTextViews.h"

#include <QPainter>
#include <QRegularExpression>
#include <QWidget>

#include <cmath>

namespace {

// The texts a view shows, or none when it draws something else.
QStringList linesOf(QWidget *view)
{
    const PLVTextLines *text = view ? PLVTextLines::of(view) : nullptr;
    return text ? text->lines : QStringList();
}

// The module's texts when no view shows any: "key value" lines of its model.
QStringList modelTexts(PLVGenericModuleController *controller, bool withKeys)
{
    QStringList out;
    if (!controller->modulemodelobj())
        return out;
    const QVariantMap values = controller->modulemodelobj()->modelData().snapshot();
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        if (it.value().typeId() == QMetaType::QString && !it.value().toString().isEmpty())
            out << (withKeys ? it.key() + QStringLiteral(": ") : QString()) + it.value().toString();
    return out;
}

} // namespace

QString ModuleFace::oneLine(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text)
        out += (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
                   ? QChar(u' ')
                   : c;
    return out.simplified();
}

ModuleFace ModuleFace::of(const QString &identifier, PLVGenericModuleController *controller)
{
    ModuleFace face;
    face.identifier = identifier;
    auto *names = PLVDisplaynameForModules::displayname();
    face.shortName = names->displayname3LettersNameForBundleIdentifier(identifier).toLower();
    face.name = names->displaynameForBundleIdentifier(identifier);
    if (face.name.isEmpty())
        face.name = face.shortName.toUpper();
    if (!controller)
        return face;

    QStringList status = linesOf(controller->statusbarView());
    if (status.isEmpty())
        status = modelTexts(controller, false);
    face.text = oneLine(status.join(QLatin1Char(' ')));

    QStringList details = linesOf(controller->statusbarStandAloneView());
    if (details.isEmpty())
        details = linesOf(controller->statusbarCombinedView());
    if (details.isEmpty())
        details = modelTexts(controller, true);
    QStringList tooltip{face.name};
    for (const QString &line : std::as_const(details))
        tooltip << oneLine(line);
    face.tooltip = tooltip.join(QLatin1Char('\n'));
    face.percentage = percentageIn(face.text);
    return face;
}

std::optional<int> ModuleFace::percentageIn(const QString &text)
{
    static const QRegularExpression share(QStringLiteral("(\\d+(?:[.,]\\d+)?)\\s*%"));
    const QRegularExpressionMatch m = share.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    bool ok = false;
    const double value = QString(m.captured(1)).replace(QLatin1Char(','), QLatin1Char('.')).toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return int(std::lround(std::clamp(value, 0.0, 100.0)));
}

std::optional<ModuleFace::PictureKey> ModuleFace::pictureKey(QWidget *view, const QColor &textColor, const QColor &highlight)
{
    const PLVTextLines *text = view ? PLVTextLines::of(view) : nullptr;
    if (!text)
        return std::nullopt;
    return PictureKey{text->title + QChar(u'\n') + text->lines.join(QChar(u'\n')), view->size(), view->font(),
                      textColor.rgba(), highlight.isValid() ? highlight.rgba() : 0};
}

QImage ModuleFace::render(QWidget *view, qreal scale, const QColor &textColor, const QColor &highlight)
{
    if (!view || view->width() <= 0 || view->height() <= 0)
        return QImage();
    if (view->palette().color(QPalette::WindowText) != textColor) {
        QPalette palette = view->palette();
        palette.setColor(QPalette::WindowText, textColor);
        palette.setColor(QPalette::Text, textColor);
        view->setPalette(palette);
    }
    QImage image(QSize(int(std::ceil(view->width() * scale)), int(std::ceil(view->height() * scale))),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    if (highlight.isValid()) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(highlight);
        painter.drawRoundedRect(QRectF(0, 0, view->width(), view->height()), 4, 4);
    }
    view->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}
