#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// Quillmont's one table of commands. A command is named by the menu entry that runs it
// ("mnuEditCut"), or by the control or action that does ("cmdAdd",
// "DoPreviewAction:Play"). Each name is registered once, by the module that owns the
// routine; the menus, the toolbar, the pop-ups, the tools panel and the drops all run
// commands from here by name.
namespace QmCommands {

using Command = std::function<void()>;

// Gives a name its command. A name registered twice is a programming error: it raises
// error 5 and leaves the first command in place.
void Register(const QString& name, Command command);
bool Has(const QString& name);
// Runs a command, without a trap of its own. A name nobody registered is a programming
// error, raised as error 5, never passed over.
void Run(const QString& name);
// Every registered name.
QStringList Names();

// Told of each name as it is registered (the main window turns the entry on).
void SetRegisteredListener(std::function<void(const QString& name)> listener);

// Brings the enabled states of every entry in line with the timeline and the media list
// (the main window's EnableOrDisableMenuItems, which it installs); modules call it after
// what they did outside a command, such as a press on a row.
void RefreshStates();
void SetStateRefresher(std::function<void()> refresher);

// For tests that stand in for a command: the registered command of name replaced, the
// old one returned (to be put back the same way).
Command Replace(const QString& name, Command command);
// For tests of an entry that has no command: the command of name taken out of the table
// and returned (Register puts it back).
Command Withdraw(const QString& name);

} // namespace QmCommands
