#include "core/QmTrap.h"

#include <QDebug>

#include <exception>
#include <new>

namespace QmTrap {

namespace {

Reporter& CurrentReporter()
{
    static Reporter reporter;
    return reporter;
}

} // namespace

QmError FromCurrentException()
{
    try {
        throw;
    } catch (const QmError& e) {
        return e;
    } catch (const std::bad_alloc&) {
        return QmError(7, QStringLiteral("Out of memory"));
    } catch (const std::exception& e) {
        return QmError(51, QStringLiteral("Internal error: %1").arg(QString::fromLocal8Bit(e.what())));
    } catch (...) {
        return QmError(51, QStringLiteral("Internal error"));
    }
}

void Run(const QString& module, const QString& function, const std::function<void()>& body, const Handler& handle)
{
    try {
        body();
    } catch (...) {
        const QmError error = FromCurrentException();
        try {
            if (handle && handle(error))
                return;
            Report(module, function, error);
        } catch (...) {
            // A handler that fails in turn is reported once more, and never rethrown.
            Report(module, function, FromCurrentException());
        }
    }
}

void Report(const QString& module, const QString& function, const QmError& error)
{
    if (CurrentReporter()) {
        try {
            CurrentReporter()(module, function, error);
            return;
        } catch (...) {
            // The report routines have no trap of their own: a failure there is dropped.
        }
    }
    qWarning().noquote() << QStringLiteral("%1.%2: error %3: %4")
                                .arg(module, function)
                                .arg(error.Number())
                                .arg(error.Description());
}

void SetReporter(Reporter reporter)
{
    CurrentReporter() = std::move(reporter);
}

} // namespace QmTrap
