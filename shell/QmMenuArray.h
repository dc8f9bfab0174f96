#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QAction;
class QMenu;

// A menu control array (mnuFileRF, mnuFileRP): items named base_0, base_1, ... in a
// menu, loaded and unloaded by index. Item 0 is built into the menu and always there.
// Captions are kept exactly as given; the menu shows an "&" in them as itself.
class QmMenuArray : public QObject
{
    Q_OBJECT

public:
    QmMenuArray(QMenu* menu, const QString& baseName, QObject* parent = nullptr);

    int Count() const;
    QAction* Item(int index) const;
    // Adds item index at the end (indexes are loaded in order).
    QAction* Load(int index);
    void Unload(int index);
    QString Caption(int index) const;
    void SetCaption(int index, const QString& caption);
    void SetEnabled(int index, bool enabled);

    // Runs when an item is clicked, with its index. The menu opens once its items have
    // a handler.
    void SetHandler(std::function<void(int)> handler);

private:
    QMenu* m_menu;
    QString m_base;
    std::function<void(int)> m_handler;
};
