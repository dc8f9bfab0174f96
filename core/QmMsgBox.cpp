#include "core/QmMsgBox.h"

#include "core/QmScript.h"

#include <QApplication>
#include <QMessageBox>

using namespace QmMsgBox;

namespace {

QMessageBox::StandardButtons ToStandard(Buttons buttons)
{
    switch (buttons) {
    case Buttons::OkOnly:
        return QMessageBox::Ok;
    case Buttons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case Buttons::AbortRetryIgnore:
        return QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore;
    case Buttons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case Buttons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case Buttons::RetryCancel:
        return QMessageBox::Retry | QMessageBox::Cancel;
    }
    return QMessageBox::Ok;
}

QMessageBox::Icon ToIcon(Icon icon)
{
    switch (icon) {
    case Icon::Critical:
        return QMessageBox::Critical;
    case Icon::Question:
        return QMessageBox::Question;
    case Icon::Exclamation:
        return QMessageBox::Warning;
    case Icon::Information:
        return QMessageBox::Information;
    case Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

Result FromStandard(int button)
{
    switch (button) {
    case QMessageBox::Cancel:
        return Cancel;
    case QMessageBox::Abort:
        return Abort;
    case QMessageBox::Retry:
        return Retry;
    case QMessageBox::Ignore:
        return Ignore;
    case QMessageBox::Yes:
        return Yes;
    case QMessageBox::No:
        return No;
    default:
        return OK;
    }
}

} // namespace

Result MsgBox(const QString& text, Icon icon, Buttons buttons, const QString& title)
{
    if (QmScript::Enabled()) {
        bool found = false;
        return QmScript::Detail::NextMessageAnswer({text, title, icon, buttons, OK}, found);
    }
    QString shown = text;
    shown.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    QMessageBox box(ToIcon(icon), title, shown, ToStandard(buttons), QApplication::activeWindow());
    // Escape answers as the last button offers: Cancel, No, or OK alone.
    if (buttons == Buttons::YesNo)
        box.setEscapeButton(QMessageBox::No);
    return FromStandard(box.exec());
}
