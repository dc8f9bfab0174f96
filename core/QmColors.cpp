#include "core/QmColors.h"

#include <QApplication>
#include <QPalette>

namespace QmColors {

QColor ToQColor(int32_t color)
{
    if (color < 0) {
        const QPalette palette = QApplication::palette();
        switch (static_cast<uint32_t>(color)) {
        case 0x8000000Fu:
            return palette.color(QPalette::Button);
        case 0x80000010u:
            return palette.color(QPalette::Dark);
        case 0x80000008u:
            return palette.color(QPalette::WindowText);
        case 0x80000014u:
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
