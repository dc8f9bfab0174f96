#include "core/QmColors.h"

#include <QApplication>
#include <QPalette>

namespace QmColors {

QColor ToQColor(int32_t color)
{
    if (color < 0) {
        const QPalette palette = QApplication::palette();
        switch (static_cast<uint32_t>(color)) {
        case static_cast<uint32_t>(ButtonFace):
            return palette.color(QPalette::Button);
        case static_cast<uint32_t>(ButtonShadow):
            return palette.color(QPalette::Dark);
        case static_cast<uint32_t>(WindowText):
            return palette.color(QPalette::WindowText);
        case static_cast<uint32_t>(ButtonHighlight):
            return palette.color(QPalette::Light);
        case 0x80000005u:
            return palette.color(QPalette::Base);
        default:
            return palette.color(QPalette::Window);
        }
    }
    return QColor(color & 0xFF, (color >> 8) & 0xFF, (color >> 16) & 0xFF);
}

int32_t FromQColor(const QColor& color)
{
    return color.red() | (color.green() << 8) | (color.blue() << 16);
}

} // namespace QmColors
