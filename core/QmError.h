#pragma once

#include <QString>

#include <cstdint>
#include <exception>
#include <string>

// The one exception type of Quillmont. It carries a numbered error in the way the
// program's error traps expect it: handlers branch on the number, everything else
// goes to the error log with the description.
class QmError : public std::exception
{
public:
    QmError(int32_t number, QString description);

    int32_t Number() const noexcept { return m_number; }
    const QString& Description() const noexcept { return m_description; }
    const char* what() const noexcept override { return m_what.c_str(); }

private:
    int32_t m_number;
    QString m_description;
    std::string m_what;
};

// The error numbers that routines branch on.
namespace QmErr {
constexpr int32_t IllegalCall = 5;
constexpr int32_t Overflow = 6;
constexpr int32_t DivisionByZero = 11;
constexpr int32_t SubscriptOutOfRange = 9;
constexpr int32_t TypeMismatch = 13;
constexpr int32_t BadFileName = 52;
constexpr int32_t FileNotFound = 53;
constexpr int32_t FileAlreadyExists = 58;
constexpr int32_t PathFileAccess = 75;
constexpr int32_t PathNotFound = 76;
constexpr int32_t ObjectNotSet = 91;
constexpr int32_t InvalidProperty = 380;
constexpr int32_t CannotCreateObject = 429;
constexpr int32_t BufferTooSmall = 20476;
constexpr int32_t DialogCancelled = 32755;
constexpr int32_t IndexOutOfBounds = 35600;
constexpr int32_t AccessDenied = static_cast<int32_t>(0x80070005u);
constexpr int32_t InvalidArgument = static_cast<int32_t>(0x80070057u);
constexpr int32_t Failed = static_cast<int32_t>(0x80004005u);
} // namespace QmErr
