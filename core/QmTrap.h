#pragma once

#include "core/QmError.h"

#include <QString>

#include <functional>

// The error trap every routine wraps its body in. The routine's own handler deals with
// the error numbers it knows and returns true; anything else is reported: a function
// name ending in "*" writes the error log silently, any other name opens the report
// dialogue, which writes it. The reporting itself is report/'s ErrorLog and frmbug,
// which install themselves at start; the mechanics stay here, below everything, so
// that the smallest helpers can have a trap too. No exception leaves a trap.
namespace QmTrap {

using Handler = std::function<bool(const QmError&)>;
using Reporter = std::function<void(const QString& module, const QString& function, const QmError& error)>;

// Runs body under the trap of module and function.
void Run(const QString& module, const QString& function, const std::function<void()>& body,
         const Handler& handle = {});

// The same for a routine with a result: fallback when the body fails.
template <class R>
R Value(const QString& module, const QString& function, R fallback, const std::function<R()>& body,
        const Handler& handle = {})
{
    R result = fallback;
    Run(module, function, [&] { result = body(); }, handle);
    return result;
}

// What the trap does with an error its routine does not handle.
void Report(const QString& module, const QString& function, const QmError& error);

// Installed by report/ at start; until then errors are printed as warnings.
void SetReporter(Reporter reporter);

// Any exception as the QmError that stands for it.
QmError FromCurrentException();

} // namespace QmTrap
