#pragma once

#include "core/QmError.h"

#include <QList>

// A 1-based collection of the shape the program's lists have (FileCollection,
// StreamCollection, TrackCollection, ...). An index outside 1..Count raises error 5,
// which some routines branch on.
template <class T>
class QmCollection
{
public:
    int Count() const { return static_cast<int>(m_items.size()); }
    void Add(const T& item) { m_items.append(item); }
    const T& Item(int index) const
    {
        Check(index);
        return m_items[index - 1];
    }
    T& Item(int index)
    {
        Check(index);
        return m_items[index - 1];
    }
    const T& operator()(int index) const { return Item(index); }
    void Remove(int index)
    {
        Check(index);
        m_items.removeAt(index - 1);
    }
    void Clear() { m_items.clear(); }
    // The 1-based position of the first item equal to value, 0 when there is none.
    int IndexOf(const T& value) const { return static_cast<int>(m_items.indexOf(value)) + 1; }

    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    void Check(int index) const
    {
        if (index < 1 || index > Count())
            throw QmError(QmErr::IllegalCall, QStringLiteral("Invalid procedure call or argument"));
    }

    QList<T> m_items;
};
