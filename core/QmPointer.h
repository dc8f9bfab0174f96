#pragma once

// The screen's pointer, as the routines set it around long work: one hourglass or the
// normal pointer, never a stack of them, so that a routine that ends on an error path
// and sets it normal leaves no hourglass behind.
namespace QmPointer {

void Hourglass();
void Normal();
bool IsHourglass();

} // namespace QmPointer
