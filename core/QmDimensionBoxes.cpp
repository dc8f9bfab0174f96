#include "core/QmDimensionBoxes.h"

#include "core/QmNumbers.h"

#include <QCheckBox>
#include <QLineEdit>

QmDimensionBoxes::QmDimensionBoxes(QLineEdit* txtWidth, QLineEdit* txtHeight, QCheckBox* chkLockAspectRatio,
                                   QObject* parent)
    : QObject(parent)
    , m_width(txtWidth)
    , m_height(txtHeight)
    , m_lock(chkLockAspectRatio)
{
    connect(txtWidth, &QLineEdit::textChanged, this, [this] { Changed(true); });
    connect(txtHeight, &QLineEdit::textChanged, this, [this] { Changed(false); });
}

void QmDimensionBoxes::Reset(int32_t width, int32_t height, double aspectRatio)
{
    m_guard = true;
    m_customWidth = width;
    m_customHeight = height;
    m_aspectRatio = aspectRatio;
}

void QmDimensionBoxes::SetValues(const QString& width, const QString& height)
{
    const bool guard = m_guard;
    m_guard = false;
    m_width->setText(width);
    m_height->setText(height);
    m_guard = guard;
}

QString QmDimensionBoxes::Decimal(double value)
{
    return QString::number(value, 'g', 15);
}

void QmDimensionBoxes::Changed(bool width)
{
    QLineEdit* box = width ? m_width : m_height;
    if (!box || !box->isEnabled())
        return;
    int32_t& last = width ? m_customWidth : m_customHeight;
    bool numeric = false;
    const double value = box->text().trimmed().toDouble(&numeric);
    if (!numeric || value < 0 || value >= Limit) {
        const QString previous = QString::number(last);
        if (box->text() != previous)
            box->setText(previous);
        box->setCursorPosition(static_cast<int>(box->text().size()));
        return;
    }
    last = QmNumbers::CLng(value);
    if (m_guard && m_lock && m_lock->isChecked()) {
        m_guard = false;
        QLineEdit* other = width ? m_height : m_width;
        other->setText(Decimal(width ? value / m_aspectRatio : value * m_aspectRatio));
        m_guard = true;
    }
}
