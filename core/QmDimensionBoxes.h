#pragma once

#include <QObject>
#include <QPointer>

#include <cstdint>

class QCheckBox;
class QLineEdit;

// The two boxes in which the user types a picture's width and height (saving, capture,
// snaps, preferences). Each takes a number from 0 to below Limit, and rewrites anything
// else with its last accepted value. With the lock box ticked, a change of one box
// writes the other by the aspect ratio, as a decimal number without rounding; a guard
// keeps the box so written from answering in turn. Boxes that are disabled take what is
// written into them without a word.
class QmDimensionBoxes : public QObject
{
    Q_OBJECT

public:
    static constexpr int Limit = 2000;

    QmDimensionBoxes(QLineEdit* txtWidth, QLineEdit* txtHeight, QCheckBox* chkLockAspectRatio, QObject* parent = nullptr);

    // Starts over: the last accepted values and the ratio of the lock.
    void Reset(int32_t width, int32_t height, double aspectRatio);
    // Writes both boxes as they are, the lock left out.
    void SetValues(const QString& width, const QString& height);

    int32_t CustomWidth() const { return m_customWidth; }
    int32_t CustomHeight() const { return m_customHeight; }
    double AspectRatio() const { return m_aspectRatio; }
    bool DimensionGuard() const { return m_guard; }

    // A number as the lock writes it: up to 15 significant digits, no trailing zeros.
    static QString Decimal(double value);

private:
    void Changed(bool width);

    QPointer<QLineEdit> m_width;
    QPointer<QLineEdit> m_height;
    QPointer<QCheckBox> m_lock;
    int32_t m_customWidth = 320;
    int32_t m_customHeight = 240;
    double m_aspectRatio = 320.0 / 240.0;
    bool m_guard = true;
};
