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
// lengths of the design (10, 20, 128, 260, 500), because a name cut at 10 is
// what the user sees.
class ITWObject
{
public:
    virtual ~ITWObject() = default;

    // The part of the object that answers for an interface the object cannot inherit
    // itself (two players whose operations share names with other interfaces but not
    // their types); null when it has none.
    virtual ITWObject* QueryInterface(const std::type_info& /*interface*/) { return nullptr; }
};

// The interface I of the engine object; error 13 when the object does not have it.
template <class I>
I& TWCast(ITWObject* object)
{
    I* result = dynamic_cast<I*>(object);
    if (!result && object)
        result = dynamic_cast<I*>(object->QueryInterface(typeid(I)));
    if (!result)
        throw QmError(QmErr::TypeMismatch, QStringLiteral("Type mismatch"));
    return *result;
}
