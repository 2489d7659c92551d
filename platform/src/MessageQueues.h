#pragma once

namespace zorv::win32 {
// Removes the calling thread's message queue, if it has one.
void DestroyCurrentThreadQueue();
}  // namespace zorv::win32
