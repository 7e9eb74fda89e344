#include "panels/controls/ChipSize.h"

#include "panels/controls/LineBreaks.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QQuickWindow>
#include <QTextLayout>

#include <cmath>

namespace wingbell {

namespace {

constexpr QSizeF padding(20.0, 10.0);

/// As the text item of the chip lays it out, in one line.
QSizeF textSize(const QString& text)
{
    if (text.isEmpty()) {
        return {0.0, std::ceil(QFontMetricsF(chipFont()).height())};
    }
    QTextLayout layout(LineBreaks::asSigns(text), chipFont());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setUseDesignMetrics(QQuickWindow::textRenderType() != QQuickWindow::NativeTextRendering);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setNumColumns(static_cast<int>(text.size()));
    layout.endLayout();
    return {line.naturalTextWidth(), line.height()};
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
    constexpr qsizetype maxNames = 10'000; // names, of all shows that a long day has seen
    if (measured.size() >= maxNames) {
        measured.clear();
    }
    const QSizeF size = textSize(text) + padding;
    measured.insert(text, size);
    return size;
}

} // namespace wingbell
