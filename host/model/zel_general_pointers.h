// The general pointers of model objects, kept beside the objects rather than
// in them: few objects carry one (a client marks a handful of packages), so
// a side table costs less than a field in each of millions of objects.
#pragma once

class ZELObject;

namespace zel_general_pointers {

// The pointer set for `object`, or null.
void* get(const ZELObject* object) noexcept;
// Sets the pointer of `object`; null takes it out of the table and never
// fails. Setting a pointer may throw std::bad_alloc, changing nothing.
void set(const ZELObject* object, void* pointer);
// Takes the pointer of a deleted object out of the table, so that an object
// made later at the same address starts without one. Allocates nothing.
void forget(const ZELObject* object) noexcept;

}  // namespace zel_general_pointers
