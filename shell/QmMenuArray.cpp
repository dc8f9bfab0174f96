#include "shell/QmMenuArray.h"

#include "core/QmError.h"

#include <QAction>
#include <QMenu>

QmMenuArray::QmMenuArray(QMenu* menu, const QString& baseName, QObject* parent)
    : QObject(parent)
    , m_menu(menu)
    , m_base(baseName)
{
    Load(0);
}

int QmMenuArray::Count() const
{
    int count = 0;
    while (Item(count))
        ++count;
    return count;
}

QAction* QmMenuArray::Item(int index) const
{
    return m_menu->findChild<QAction*>(m_base + u'_' + QString::number(index), Qt::FindDirectChildrenOnly);
}

QAction* QmMenuArray::Load(int index)
{
    if (QAction* existing = Item(index))
        return existing;
    auto* action = new QAction(m_menu);
    action->setObjectName(m_base + u'_' + QString::number(index));
    m_menu->addAction(action);
    connect(action, &QAction::triggered, this, [this, index] {
        if (m_handler)
            m_handler(index);
    });
    return action;
}

void QmMenuArray::Unload(int index)
{
    if (index == 0)
        throw QmError(QmErr::IllegalCall, QStringLiteral("Item 0 of %1 cannot be unloaded.").arg(m_base));
    delete Item(index);
}

QString QmMenuArray::Caption(int index) const
{
    const QAction* action = Item(index);
    return action ? action->data().toString() : QString();
}

void QmMenuArray::SetCaption(int index, const QString& caption)
{
    QAction* action = Item(index);
    if (!action)
        throw QmError(QmErr::IllegalCall, QStringLiteral("%1(%2) is not loaded.").arg(m_base).arg(index));
    action->setData(caption);
    QString shown = caption;
    action->setText(shown.replace(u'&', QStringLiteral("&&")));
}

void QmMenuArray::SetEnabled(int index, bool enabled)
{
    if (QAction* action = Item(index))
        action->setEnabled(enabled);
}

void QmMenuArray::SetHandler(std::function<void(int)> handler)
{
    m_handler = std::move(handler);
    m_menu->menuAction()->setEnabled(static_cast<bool>(m_handler));
}
