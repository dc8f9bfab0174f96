#pragma once

#include "core/QmError.h"

#include <QString>

#include <cstdint>
#include <typeinfo>

// The base of every engine interface. The engine is one object; the program takes
// the interface it needs from it at the point of use with TWCast.
//
// Shape of the interfaces: a single out value is the return value; several out
// values are reference parameters in their documented order, and an ok out value,
// where there is one, is the return value. A failure status throws QmError.
//
// Text buffers: where an operation fills a buffer, the caller names the buffer's
// length and the engine returns its text cut to that length. Callers keep the
// lengths Quillmont passes (10, 20, 128, 260, 500), because a name cut at 10 is
// what the user sees.
class ITWObject
{
public:
    virtual ~ITWObject() = default;

    // The part of the object that answers for an interface, as the part's ITWObject;
    // null when the object has none. An engine object hands out each interface from a
    // part that implements that one alone, so TWCast takes it back with a static_cast
    // (which is why no interface inherits ITWObject virtually). TWCast asks at every
    // call of the editing loops, so the answer must stay a lookup in a short table.
    virtual ITWObject* QueryInterface(const std::type_info& /*interface*/) { return nullptr; }
};

// The interface I of the engine object; error 13 when the object does not have it.
template <class I>
I& TWCast(ITWObject* object)
{
    ITWObject* part = object ? object->QueryInterface(typeid(I)) : nullptr;
    if (!part)
        throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    return static_cast<I&>(*part);
}
