// The memory of model objects, of reference-list entries and of string
// buffers.
//
// A model holds millions of small objects of a few sizes. The pool hands
// them out from large chunks, one size class per 8 bytes, and keeps freed
// blocks for the next object of their size: an object costs neither a heap
// call nor the heap's per-block header. The chunks are cut from one reserved
// region, where an object is addressed by a 32-bit handle
// (model/zel_link.h), and from the heap once the region is used up. When the
// last block is freed the chunks go back to the system, so a program that
// deletes its models keeps no memory for them.
//
// One pool per process behind a spin lock: separate models may be built on
// separate threads. Sanitized builds take every object from the heap, so that
// the sanitizer sees each one.
#pragma once

#include <cstddef>

namespace zel_pool {

// `size` bytes aligned to 8; throws std::bad_alloc when no memory is left.
void* allocate(size_t size);
// Gives back a block that allocate(size) returned. Allocates nothing.
void release(void* block, size_t size) noexcept;

}  // namespace zel_pool
