#include "panels/ChipSize.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QQuickWindow>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

constexpr QSizeF padding(20.0, 10.0);

/// As the text item of the chip lays it out: whole lines, broken only where the text itself is.
QSizeF textSize(QString text)
{
    if (text.isEmpty()) {
        return {0.0, std::ceil(QFontMetricsF(chipFont()).height())};
    }
    text.replace(u'\n', QChar::LineSeparator);
    QTextLayout layout(text, chipFont());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setUseDesignMetrics(QQuickWindow::textRenderType() != QQuickWindow::NativeTextRendering);
    layout.setTextOption(option);
    layout.beginLayout();
    QSizeF size(0.0, 0.0);
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setNumColumns(static_cast<int>(text.size()));
        size = {std::max(size.width(), line.naturalTextWidth()), size.height() + line.height()};
    }
    layout.endLayout();
    return size;
}

} // namespace

QFont chipFont()
{
    QFont font = QGuiApplication::font();
    constexpr int pixels = 12;
    font.setPixelSize(pixels);
    font.setWeight(QFont::DemiBold);
    return font;
}

QSizeF chipSize(const QString& text)
{
    static QHash<QString, QSizeF> measured;
    const auto known = measured.constFind(text);
    if (known != measured.cend()) {
        return *known;
    }
    constexpr qsizetype most = 10'000; // names, of all shows that a long day has seen
    if (measured.size() >= most) {
        measured.clear();
    }
    const QSizeF size = textSize(text) + padding;
    measured.insert(text, size);
    return size;
}

} // namespace wingbell
