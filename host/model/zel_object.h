// ZELObject, the root of every model object, and the two kinds of link that
// join model objects:
//
// - Ownership (ZELOwnedList): an object is owned by at most one list of one
//   owner. Deleting an owner deletes what it owns; depthTraversal walks it.
// - Reference (ZELReference, ZELReferenceList): a non-owning pointer from a
//   holder to a target. Every target keeps the list of references that point
//   to it, so that deleting either side unlinks the other in O(1).
//
// Both are intrusive, doubly linked and ordered by insertion, so deleting an
// object costs time proportional to its own links, never to the model's size.
// Every link is a 32-bit handle (model/zel_link.h); anything linked that lies
// outside the pool's region registers its address when it is constructed,
// which may throw std::bad_alloc.
// Model objects are not thread-safe; a model belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "model/zel_element_type.h"
#include "model/zel_link.h"
#include "model/zel_object_pool.h"
#include "zel_string.h"

class ZELObject;
class ZELOwnedListBase;
class ZELReferenceListBase;

// A depth-first walk over an object and everything it owns. pre_process is
// called before an object's owned objects are visited and may change the
// argument handed to them; returning false skips them. post_process is called
// after them (also when pre_process returned false), with the argument that
// the object itself received.
class ZELTraversalOperation {
 public:
  virtual ~ZELTraversalOperation() = default;
  virtual bool pre_process(ZELObject* object, void*& argument) = 0;
  virtual void post_process(ZELObject* object, void* argument) = 0;
};

// A non-owning link from a holder object to a target object. Lives inside its
// holder (a data member) or inside a ZELReferenceList entry. When the target
// is deleted a member reference becomes null and a list entry leaves its list.
// Aligned to 8 bytes, as everything a link points at.
class alignas(8) ZELReference {
 public:
  explicit ZELReference(ZELObject* holder) : holder_(zel_link::encode(holder)) {
    zel_link::adopt(this);
  }
  ~ZELReference() {
    reset();
    zel_link::forget(this);
  }
  ZELReference(const ZELReference&) = delete;
  ZELReference& operator=(const ZELReference&) = delete;

  ZELObject* get() const noexcept { return target_; }
  ZELObject* holder() const noexcept;
  // Points the reference at `target` (null unsets it).
  void set(ZELObject* target);
  void reset() noexcept { set(nullptr); }
  // The next reference that points at the same target.
  const ZELReference* nextReferrer() const noexcept { return next_; }

 private:
  friend class ZELObject;
  friend class ZELReferenceListBase;
  // The holder, or for a reference that opens a ZELReferenceList entry the
  // list, marked with the flag bit: the list knows the holder, so an entry
  // keeps one handle for both.
  static constexpr zel_link::Handle kListEntryBit = zel_link::kFlagBit;
  bool isListEntry() const noexcept { return (holder_ & kListEntryBit) != 0; }
  zel_link::Handle holder_;
  ZELLink<ZELObject> target_;
  ZELLink<ZELReference> prev_;
  ZELLink<ZELReference> next_;
};

// A typed member reference.
template <class T>
class ZELRef : public ZELReference {
 public:
  explicit ZELRef(ZELObject* holder) : ZELReference(holder) {}
  T* get() const noexcept { return static_cast<T*>(ZELReference::get()); }
  T* operator->() const noexcept { return get(); }
  explicit operator bool() const noexcept { return get() != nullptr; }
};

// Owns model objects, in insertion order. The owner object names the list's
// owner; the list is a data member of it and joins the end of the owner's
// chain of lists when it is constructed (a class with lists keeps that chain:
// see ZELObject::ownedListChain). Destroying the list deletes every object in
// it.
class alignas(8) ZELOwnedListBase {  // aligned as a link's target must be
 public:
  explicit ZELOwnedListBase(ZELObject* owner);
  ~ZELOwnedListBase();
  ZELOwnedListBase(const ZELOwnedListBase&) = delete;
  ZELOwnedListBase& operator=(const ZELOwnedListBase&) = delete;

  ZELObject* owner() const noexcept { return owner_; }
  long count() const noexcept { return static_cast<long>(count_); }
  bool isEmpty() const noexcept { return count_ == 0; }
  ZELObject* firstObject() const noexcept { return first_; }
  ZELObject* lastObject() const noexcept;
  // The object at `index`, or null. Sequential access (index i, then i+1) is
  // O(1); random access walks from the nearer of the ends and the position
  // this thread found last.
  ZELObject* objectAt(long index) const;

  // Appends `object`, taking it from the list that owned it before, if any.
  // An object already in this list stays where it is (true). Refuses (false,
  // nothing changes) null, the owner itself, and an object that owns the
  // owner directly or indirectly, which would make an ownership cycle.
  bool append(ZELObject* object);
  // Takes `object` out of the list without deleting it; the caller owns it.
  // Does nothing when `object` is not in this list.
  void release(ZELObject* object) noexcept;
  // Deletes every object of the list, and everything they own. Works with an
  // explicit queue, so the depth of the ownership tree costs no stack.
  void deleteAll();

 private:
  friend class ZELObject;
  ZELLink<ZELObject> owner_;
  // The first object; its prevSibling_ is the last one, so that appending is
  // O(1) without a field for the last object.
  ZELLink<ZELObject> first_;
  ZELLink<ZELOwnedListBase> nextListOfOwner_;  // the owner's chain of lists
  // A 32-bit count keeps a list at 16 bytes; no list holds 2^31 objects.
  int32_t count_ = 0;
};

// Iterates objects of type T through a sibling chain.
template <class T, class Step>
class ZELChainIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = T*;
  using difference_type = std::ptrdiff_t;
  using pointer = T**;
  using reference = T*;
  explicit ZELChainIterator(const void* at) noexcept : at_(at) {}
  T* operator*() const noexcept { return Step::value(at_); }
  ZELChainIterator& operator++() noexcept {
    at_ = Step::next(at_);
    return *this;
  }
  bool operator==(const ZELChainIterator& other) const noexcept { return at_ == other.at_; }
  bool operator!=(const ZELChainIterator& other) const noexcept { return at_ != other.at_; }

 private:
  const void* at_;
};

template <class T>
class ZELOwnedList : public ZELOwnedListBase {
  struct Step;

 public:
  using iterator = ZELChainIterator<T, Step>;
  explicit ZELOwnedList(ZELObject* owner) : ZELOwnedListBase(owner) {}
  T* first() const noexcept { return static_cast<T*>(firstObject()); }
  T* at(long index) const { return static_cast<T*>(objectAt(index)); }
  bool append(T* object) { return ZELOwnedListBase::append(object); }
  iterator begin() const noexcept { return iterator(firstObject()); }
  iterator end() const noexcept { return iterator(nullptr); }

 private:
  struct Step {
    static T* value(const void* at) noexcept;
    static const void* next(const void* at) noexcept;
  };
};

// An ordered list of references held by one object. The same target may be
// listed more than once. An entry leaves the list when its target is deleted.
class ZELReferenceListBase {
 public:
  explicit ZELReferenceListBase(ZELObject* holder) : holder_(holder) { zel_link::adopt(this); }
  virtual ~ZELReferenceListBase() {
    clear();
    zel_link::forget(this);
  }
  ZELReferenceListBase(const ZELReferenceListBase&) = delete;
  ZELReferenceListBase& operator=(const ZELReferenceListBase&) = delete;

  ZELObject* holder() const noexcept { return holder_; }
  long count() const noexcept { return count_; }
  bool isEmpty() const noexcept { return count_ == 0; }
  // Appends an entry pointing at `target`; null is ignored.
  void append(ZELObject* target);
  // Removes the first entry that points at `target`; false when none does.
  bool remove(ZELObject* target);
  void clear() noexcept;

  struct Entry {
    static void* operator new(size_t size) { return zel_pool::allocate(size); }
    static void operator delete(void* block, size_t size) noexcept {
      zel_pool::release(block, size);
    }
    explicit Entry(ZELReferenceListBase* owningList) : reference(nullptr) {
      reference.holder_ = zel_link::encode(owningList) | ZELReference::kListEntryBit;
    }
    ZELReferenceListBase* list() const noexcept {
      return static_cast<ZELReferenceListBase*>(
          zel_link::decode(reference.holder_ & ~ZELReference::kListEntryBit));
    }
    ZELReference reference;
    ZELLink<Entry> prev;
    ZELLink<Entry> next;
  };
  const Entry* firstEntry() const noexcept { return first_; }

 protected:
  // Called when an entry's target is being deleted, before the entry leaves
  // the list. Lets a holder keep derived state (a name index) in step.
  virtual void entryLost(ZELObject* /*target*/) {}

 private:
  friend class ZELObject;
  void unlinkEntry(Entry* entry) noexcept;
  ZELLink<ZELObject> holder_;
  ZELLink<Entry> first_;
  ZELLink<Entry> last_;
  int32_t count_ = 0;  // no list holds 2^31 entries
};

inline ZELObject* ZELReference::holder() const noexcept {
  if (isListEntry())
    return reinterpret_cast<const ZELReferenceListBase::Entry*>(this)->list()->holder();
  return static_cast<ZELObject*>(zel_link::decode(holder_));
}

template <class T>
class ZELReferenceList : public ZELReferenceListBase {
  struct Step {
    static T* value(const void* at) noexcept {
      return static_cast<T*>(static_cast<const Entry*>(at)->reference.get());
    }
    static const void* next(const void* at) noexcept { return static_cast<const Entry*>(at)->next; }
  };

 public:
  using iterator = ZELChainIterator<T, Step>;
  explicit ZELReferenceList(ZELObject* holder) : ZELReferenceListBase(holder) {}
  void append(T* target) { ZELReferenceListBase::append(target); }
  iterator begin() const noexcept { return iterator(firstEntry()); }
  iterator end() const noexcept { return iterator(nullptr); }
};

class ZELObject {
 public:
  // Objects made with new live in the object pool (model/zel_object_pool.h).
  static void* operator new(size_t size) { return zel_pool::allocate(size); }
  static void operator delete(void* block, size_t size) noexcept { zel_pool::release(block, size); }

  // An object outside the pool's region (on the stack, say) registers its
  // address, which may throw std::bad_alloc.
  ZELObject() { zel_link::adopt(this); }
  // Deleting an object deletes everything it owns, takes it out of its
  // owner's list, unsets every reference that points at it (list entries
  // leave their lists) and unlinks its own references. Its general pointer
  // is forgotten, not freed: that is the client's.
  virtual ~ZELObject();
  ZELObject(const ZELObject&) = delete;
  ZELObject& operator=(const ZELObject&) = delete;

  virtual ZELElementType getElementType() const { return ZEL_ET_OBJECT; }
  // True when the object is of `type` or of a type that specialises it.
  virtual bool isInstanceOf(ZELElementType type) const {
    return zelElementTypeIsA(getElementType(), type);
  }

  virtual void setName(const ZELString& name) { name_ = name; }
  virtual const ZELString& getName() const { return name_; }

  // One pointer for the host's clients to hang their own data on. The model
  // neither reads nor frees it. It is kept in a side table
  // (model/zel_general_pointers.h), not in the object: setting one may throw
  // std::bad_alloc; setting null never fails.
  void* getGeneralPointer() const noexcept;
  void setGeneralPointer(void* pointer);

  // The object that owns this one, or null.
  ZELObject* getOwner() const noexcept;
  // The first reference that points at this object (walk on with
  // ZELReference::nextReferrer).
  const ZELReference* firstReferrer() const noexcept { return referrers_; }

  // Visits this object and, depth first, everything it owns, in the order of
  // the owned lists and of the objects in each list. Walks the objects' own
  // links, so the depth of the ownership tree costs no call stack, and
  // allocates nothing unless pre_process changes the argument on a path
  // deeper than a few dozen levels.
  // post_process may delete the object it is handed; the operation must not
  // otherwise add, move or delete objects of the tree being walked.
  void depthTraversal(ZELTraversalOperation& operation, void* argument);

  // Links `object` to this receiver through `link`; when the receiver refuses
  // it because its name is taken (see isNameRefused), renames the object to
  // the first free name among NAME + separator + 1, NAME + separator + 2, ...
  // and links it under that name. Returns whether the object was linked in
  // the end; when it was not, the object keeps its name.
  template <class Receiver, class Arg, class Object>
  bool addLinkUniqueName(bool (Receiver::*link)(Arg*), Object* object, char separator) {
    static_assert(std::is_convertible<Object*, Arg*>::value, "the link must take the object");
    Receiver* receiver = static_cast<Receiver*>(this);
    Arg* argument = object;
    if (argument == nullptr) return false;
    if ((receiver->*link)(argument)) return true;
    const ZELString base = argument->getName();
    // A receiver that does not refuse by name would refuse every renaming.
    if (!isNameRefused(base)) return false;
    ZELString prefix = base;
    prefix.append(separator);
    for (unsigned long counter = firstUniqueNameCounter(prefix);; ++counter) {
      const ZELString candidate = prefix + ZELString(static_cast<long>(counter));
      if (isNameRefused(candidate)) continue;
      argument->setName(candidate);
      bool linked = false;
      try {
        linked = (receiver->*link)(argument);
      } catch (...) {
        argument->setName(base);
        throw;
      }
      if (linked) {
        noteUniqueNameCounter(prefix, counter);
        return true;
      }
      argument->setName(base);  // refused for some other reason
      return false;
    }
  }

 protected:
  // True when this receiver refuses to link an object of that name because
  // the name is taken. The default receiver refuses no name.
  virtual bool isNameRefused(const ZELString& /*name*/) const { return false; }
  // Where addLinkUniqueName starts counting for `prefix` (the name and the
  // separator): 1 unless the receiver remembers the last counter it handed
  // out for that prefix (it then starts just after it, so that many equal
  // names cost O(1) each).
  virtual unsigned long firstUniqueNameCounter(const ZELString& /*prefix*/) { return 1; }
  virtual void noteUniqueNameCounter(const ZELString& /*prefix*/, unsigned long /*counter*/) {}

 private:
  friend class ZELOwnedListBase;
  friend class ZELReference;
  template <class T>
  friend class ZELOwnedList;

  // The head of the chain of lists this object owns, in a class that owns
  // lists (it keeps the head in a field of its own, declared before its
  // lists); null for the others. Most objects own nothing, so the head is
  // not a field of every object.
  virtual ZELLink<ZELOwnedListBase>* ownedListChain() noexcept { return nullptr; }
  ZELOwnedListBase* ownedLists() noexcept {
    ZELLink<ZELOwnedListBase>* chain = ownedListChain();
    return chain != nullptr ? chain->get() : nullptr;
  }

  ZELString name_;
  // Membership in the owner's list. The first object's prevSibling_ is the
  // list's last object.
  ZELLink<ZELOwnedListBase> ownerList_;
  ZELLink<ZELObject> prevSibling_;
  ZELLink<ZELObject> nextSibling_;
  // References that point at this object.
  ZELLink<ZELReference> referrers_;
};

inline ZELObject* ZELOwnedListBase::lastObject() const noexcept {
  ZELObject* const first = first_;
  return first != nullptr ? first->prevSibling_.get() : nullptr;
}

template <class T>
T* ZELOwnedList<T>::Step::value(const void* at) noexcept {
  return static_cast<T*>(static_cast<ZELObject*>(const_cast<void*>(at)));
}
template <class T>
const void* ZELOwnedList<T>::Step::next(const void* at) noexcept {
  return static_cast<const ZELObject*>(at)->nextSibling_;
}
