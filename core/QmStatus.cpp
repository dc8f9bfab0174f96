#include "core/QmStatus.h"

namespace QmStatus {

namespace {

Sink& Current()
{
    static Sink sink;
    return sink;
}

} // namespace

void Install(Sink sink)
{
    Current() = std::move(sink);
}

void Uninstall()
{
    Current() = Sink{};
}

void Show(const QString& text, const QString& key)
{
    if (Current().text)
        Current().text(key, text);
}

void Progress(int value, int maximum)
{
    if (Current().progress)
        Current().progress(value, maximum);
}

void HideProgress()
{
    Progress(0, -1);
}

} // namespace QmStatus
