#include "util/MemoryPool.h"

CMemoryPool::~CMemoryPool() {
    ClassDelete();
}

unsigned char* CMemoryPool::PoolAlloc(unsigned long size) {
    return new unsigned char[size];
}

void CMemoryPool::PoolFree(unsigned char*& block) {
    delete[] block;
    block = nullptr;
}

void CMemoryPool::LockPool() {}

void CMemoryPool::UnlockPool() {}

void CMemoryPool::ClassDelete() {
    PoolFree(block_);
    size_ = 0;
    fill_ = 0;
}
