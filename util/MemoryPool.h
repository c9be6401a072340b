#pragma once

#include "util/Export.h"

/// Allocates byte buffers. A platform with its own allocator overrides the virtual operations; here
/// they use array new and array delete.
///
/// PoolAlloc() does not track its buffers: the caller returns every buffer with PoolFree().
/// ClassDelete() frees only the block that a derived pool keeps for itself.
///
/// Thread-safety: any thread may call PoolAlloc() and PoolFree(); a pool that keeps a block may be
/// used by one thread.
class VARNOCK_EXPORT CMemoryPool {
  public:
    CMemoryPool() = default;
    /// Calls ClassDelete(), which here calls only this class's PoolFree(): a derived pool with its
    /// own PoolFree() must call ClassDelete() in its destructor.
    virtual ~CMemoryPool();
    CMemoryPool(const CMemoryPool&) = delete;
    CMemoryPool& operator=(const CMemoryPool&) = delete;

    /// A buffer of `size` bytes, not initialised; the caller returns it with PoolFree().
    /// Throws std::bad_alloc.
    virtual unsigned char* PoolAlloc(unsigned long size);
    /// Frees a buffer of PoolAlloc() and sets the caller's pointer to null; ignores null.
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
