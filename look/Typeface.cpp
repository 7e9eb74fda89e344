#include "look/Typeface.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainterPathStroker>
#include <QStringList>

#include <algorithm>

namespace wingbell {

namespace {

QString firstInstalled(const QStringList& families, const QString& otherwise)
{
    const auto found = std::find_if(families.cbegin(), families.cend(), [](const QString& family) {
        return QFontDatabase::hasFamily(family);
    });
    return found == families.cend() ? otherwise : *found;
}

} // namespace

const QString& Typeface::rounded()
{
    static const QString family = firstInstalled(
        {QStringLiteral("Quicksand"), QStringLiteral("Nunito"), QStringLiteral("Varela Round"),
         QStringLiteral("Comfortaa")},
        QGuiApplication::font().family());
    return family;
}

const QString& Typeface::monospaced()
{
    static const QString family = firstInstalled(
        {QStringLiteral("JetBrains Mono"), QStringLiteral("Noto Sans Mono"),
         QStringLiteral("DejaVu Sans Mono"), QStringLiteral("Liberation Mono")},
        QFontDatabase::systemFont(QFontDatabase::FixedFont).family());
    return family;
}

QPainterPath heavyLetters(const QString& text, const QFont& font)
{
    QPainterPath letters;
    letters.addText(QPointF(0.0, QFontMetricsF(font).ascent()), font, text);
    constexpr double addedWeight = 0.04; // of the letters' size, half of it on each side of a stem
    QPainterPathStroker stroker;
    stroker.setWidth(addedWeight * font.pixelSize());
    stroker.setJoinStyle(Qt::RoundJoin);
    return letters.united(stroker.createStroke(letters));
}

} // namespace wingbell
