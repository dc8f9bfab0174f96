#include "engine/CreateObject.h"
#include "engine/ITWCoreRoot.h"

#include <QApplication>
#include <QMessageBox>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    try {
        auto engine = CreateObject(QStringLiteral("TWCore.TarnwickTimeline"));
        return TWCast<ITWCoreRoot>(engine.get()).CheckDirectShowVersion() ? 0 : 1;
    } catch (const QmError&) {
        return 1;
    }
}
