#include "shell/QmCommands.h"

#include "core/QmError.h"

#include <QHash>

#include <utility>

namespace QmCommands {

namespace {

struct Table
{
    QHash<QString, Command> commands;
    std::function<void(const QString&)> registered;
    std::function<void()> refresher;
};

Table& TheTable()
{
    static Table table;
    return table;
}

[[noreturn]] void Fault(const QString& what)
{
    throw QmError(QmErr::IllegalCall, what);
}

} // namespace

void Register(const QString& name, Command command)
{
    Table& table = TheTable();
    if (name.isEmpty() || !command)
        Fault(QStringLiteral("A command needs a name and a routine"));
    if (table.commands.contains(name))
        Fault(QStringLiteral("The command %1 is registered twice").arg(name));
    table.commands.insert(name, std::move(command));
    if (table.registered)
        table.registered(name);
}

bool Has(const QString& name)
{
    return TheTable().commands.contains(name);
}

void Run(const QString& name)
{
    const auto it = TheTable().commands.constFind(name);
    if (it == TheTable().commands.constEnd())
        Fault(QStringLiteral("No command is registered as %1").arg(name));
    // A copy: the command may replace itself or register others while it runs.
    const Command command = it.value();
    command();
}

QStringList Names()
{
    return TheTable().commands.keys();
}

void SetRegisteredListener(std::function<void(const QString&)> listener)
{
    TheTable().registered = std::move(listener);
}

void RefreshStates()
{
    if (TheTable().refresher)
        TheTable().refresher();
}

void SetStateRefresher(std::function<void()> refresher)
{
    TheTable().refresher = std::move(refresher);
}

Command Replace(const QString& name, Command command)
{
    Table& table = TheTable();
    const auto it = table.commands.find(name);
    if (it == table.commands.end())
        Fault(QStringLiteral("No command is registered as %1").arg(name));
    return std::exchange(it.value(), std::move(command));
}

Command Withdraw(const QString& name)
{
    Table& table = TheTable();
    const auto it = table.commands.find(name);
    if (it == table.commands.end())
        Fault(QStringLiteral("No command is registered as %1").arg(name));
    Command command = std::move(it.value());
    table.commands.erase(it);
    return command;
}

} // namespace QmCommands
