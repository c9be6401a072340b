#pragma once

#include "util/Export.h"

/// Hands out byte buffers. A platform with an allocator of its own overrides the virtual
/// operations; here they are array new and array delete.
///
/// PoolAlloc() does not remember what it hands out: the caller returns every buffer with
/// PoolFree(). The block that ClassDelete() frees is one that a derived pool keeps for itself.
///
/// Thread-safety: none needed for PoolAlloc() and PoolFree() of different buffers; a pool that
/// keeps a block belongs to one thread.
class VARNOCK_EXPORT CMemoryPool {
  public:
    CMemoryPool() = default;
    /// Calls ClassDelete(), which reaches only this class's PoolFree() here: a derived pool that
    /// frees in another way calls ClassDelete() in its own destructor.
    virtual ~CMemoryPool();
    CMemoryPool(const CMemoryPool&) = delete;
    CMemoryPool& operator=(const CMemoryPool&) = delete;

    /// A buffer of `size` bytes, not initialised; the caller returns it with PoolFree().
    /// Throws std::bad_alloc.
    virtual unsigned char* PoolAlloc(unsigned long size);
    /// Frees a buffer of PoolAlloc() and sets the caller's pointer to null; null is left alone.
    virtual void PoolFree(unsigned char*& block);
    /// Does nothing: the pool is not shared between threads.
    virtual void LockPool();
    /// Does nothing, see LockPool().
    virtual void UnlockPool();

    /// Frees the pool's own block, if there is one, through PoolFree() and sets both counters to 0.
    void ClassDelete();

  protected:
    unsigned char* block_ = nullptr;  ///< owned; a buffer of PoolAlloc(), or null
    unsigned int size_ = 0;           ///< bytes of block_
    unsigned int fill_ = 0;           ///< bytes of block_ in use
};
