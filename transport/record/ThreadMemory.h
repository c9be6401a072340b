#pragma once

/// Internal.
namespace varnock {

/// Memory that a thread keeps between its requests, so that a usual request allocates nothing: one
/// block of each kind. Who takes it has it alone; a second user at the same time finds none and
/// allocates. It is freed when the thread ends.
///
/// The blocks come from operator new. Nothing in a block outlives its use, so a request that is cut
/// short, by a cancellation or by a fork(), leaves nothing half done in it.
///
/// Thread-safety: every thread has its own blocks.
enum class SpareBlock { record, frame };

/// The kept block of this kind, now the caller's; null if there is none.
[[nodiscard]] void* takeSpare(SpareBlock kind);
/// Keeps a block, or frees it if the thread has one of this kind already.
void keepSpare(SpareBlock kind, void* block);
/// Frees the blocks of the calling thread.
void freeSpares();

}  // namespace varnock
