#include "capture/moduleCaptureSnap.h"

#include "capture/frmCapture.h"
#include "core/QmMsgBox.h"
#include "core/QmNumbers.h"
#include "core/QmSettings.h"
#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "engine/ITWCapture.h"
#include "engine/ITWCoreRoot.h"

#include <QStringList>

#include <cstdlib>

using namespace QmShared;

namespace {

const QString kModule = QStringLiteral("moduleCaptureSnap");
const QString kSection = QStringLiteral("Capture Snap");

QString g_folder;
bool g_folderSet = false;
int16_t g_width = 320;
int16_t g_height = 240;
bool g_useCaptureDimension = true;
int16_t g_counter = 0;

bool IsNumeric(const QString& text)
{
    bool ok = false;
    text.trimmed().toDouble(&ok);
    return ok;
}

int16_t AbsShort(const QString& text)
{
    return static_cast<int16_t>(std::abs(static_cast<int>(text.trimmed().toDouble())));
}

} // namespace

namespace moduleCaptureSnap {

void LoadSnapSettings()
{
    QmTrap::Run(kModule, QStringLiteral("LoadSnapSettings"), [] {
        const QString folder = QmSettings::GetSetting(kSection, QStringLiteral("Folder"));
        if (!folder.trimmed().isEmpty())
            SetSnapFolder(folder);
        const QStringList pieces = QmSettings::GetSetting(kSection, QStringLiteral("Dimension")).split(u' ');
        if (pieces.size() > 0 && IsNumeric(pieces[0]))
            g_width = AbsShort(pieces[0]);
        if (pieces.size() > 2 && IsNumeric(pieces[2]))
            g_height = AbsShort(pieces[2]);
        const QString use = QmSettings::GetSetting(kSection, QStringLiteral("Capture Dimension"));
        if (IsNumeric(use))
            g_useCaptureDimension = use.trimmed().toDouble() >= 1;
    });
}

void StoreSnapSettings()
{
    QmTrap::Run(kModule, QStringLiteral("StoreSnapSettings"), [] {
        QmSettings::SaveSetting(kSection, QStringLiteral("Folder"), SnapFolder());
        QmSettings::SaveSetting(kSection, QStringLiteral("Dimension"),
                                QString::number(g_width) + QStringLiteral(" x ") + QString::number(g_height));
        QmSettings::SaveSetting(kSection, QStringLiteral("Capture Dimension"), g_useCaptureDimension ? QStringLiteral("1") : QStringLiteral("0"));
    });
}

QString SnapFolder()
{
    // The working folder until another is chosen.
    return g_folderSet ? g_folder : WorkingFolder;
}

void SetSnapFolder(const QString& folder)
{
    g_folder = folder;
    g_folderSet = true;
}

int16_t SnapWidth()
{
    return g_width;
}

int16_t SnapHeight()
{
    return g_height;
}

void SetSnapDimension(int16_t width, int16_t height)
{
    g_width = width;
    g_height = height;
}

bool SnapUseCaptureDimension()
{
    return g_useCaptureDimension;
}

void SetSnapUseCaptureDimension(bool use)
{
    g_useCaptureDimension = use;
}

int16_t SnapCounter()
{
    return g_counter;
}

void SetSnapCounter(int16_t counter)
{
    g_counter = counter;
}

QString TakeSnapFile()
{
    return QmTrap::Value<QString>(kModule, QStringLiteral("TakeSnapFile"), QString(), [] {
        auto& root = Eng<ITWCoreRoot>();
        const QString folder = SnapFolder();
        auto name = [&](int32_t number) {
            return folder + QStringLiteral("/Snap") + QmNumbers::Format(number, u"0000") + QStringLiteral(".bmp");
        };
        // The next free number. A counter that runs up to 10000 still counts as found,
        // once; the call after finds none.
        int32_t counter = g_counter;
        bool found = false;
        if (counter <= 9999) {
            do {
                if (!root.FileExists(name(counter)))
                    break;
                ++counter;
            } while (counter < 10000);
            found = true;
            g_counter = static_cast<int16_t>(counter);
        }
        if (!found) {
            MsgBox(QStringLiteral("There are too many snaps present in the folder to which the snaps are being saved."),
                   QmMsgBox::Icon::Information);
            return QStringLiteral("Unable to take snap. Too many snaps present.");
        }
        const QString path = name(counter);
        try {
            if (g_useCaptureDimension)
                Eng<ITWCapture>().TakeSnap(path, -1, -1);
            else
                Eng<ITWCapture>().TakeSnap(path, g_width, g_height);
        } catch (const QmError& error) {
            // No picture (the video stream is off) or a folder that cannot be written:
            // said plainly, and the last snap stays what it was.
            MsgBox(error.Description(), QmMsgBox::Icon::Information);
            return QStringLiteral("Unable to take snap.");
        }
        LastSnapFile = path;
        frmCapture::instance()->SetItemEnabled(QStringLiteral("mnuFilePLCFrame"), true);
        frmCapture::instance()->SetItemEnabled(QStringLiteral("mnuCaptureLStoML"), true);
        return QStringLiteral("Snap") + QmNumbers::Format(counter, u"0000") + QStringLiteral(".bmp") + QStringLiteral(" (") + folder
               + QStringLiteral(")");
    });
}

} // namespace moduleCaptureSnap
