#include "core/QmError.h"

#include <utility>

QmError::QmError(int32_t number, QString description)
    : m_number(number)
    , m_description(std::move(description))
    , m_what(QStringLiteral("Error %1: %2").arg(number).arg(m_description).toStdString())
{
}
