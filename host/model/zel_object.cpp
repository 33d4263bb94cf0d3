#include "model/zel_object.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "model/zel_general_pointers.h"

// ~ZELObject recovers a list entry from the reference it holds: the reference
// must be the entry's first member of a standard-layout type.
static_assert(std::is_standard_layout<ZELReferenceListBase::Entry>::value,
              "entries are recovered from their reference");
static_assert(offsetof(ZELReferenceListBase::Entry, reference) == 0,
              "the reference opens the entry");
// A link addresses 8-byte granules; with 32-bit links an object's own links
// take 16 bytes, a reference or an owned list 16, a list entry 24.
static_assert(alignof(ZELObject) == 8 && alignof(ZELReference) == 8 &&
                  alignof(ZELOwnedListBase) == 8 && alignof(ZELReferenceListBase) == 8,
              "what a link points at is aligned to 8 bytes");
static_assert(sizeof(ZELObject) == 32 && sizeof(ZELReference) == 16 &&
                  sizeof(ZELOwnedListBase) == 16 && sizeof(ZELReferenceListBase::Entry) == 24,
              "links are 32 bits wide");

// ---------------------------------------------------------------------------
// ZELReference

void ZELReference::set(ZELObject* target) {
  ZELObject* const old = target_;
  if (target == old) return;
  if (old != nullptr) {
    // Leave the old target's list of referrers.
    ZELReference* const prev = prev_;
    ZELReference* const next = next_;
    if (prev != nullptr) {
      prev->next_ = next_;
    } else {
      old->referrers_ = next_;
    }
    if (next != nullptr) next->prev_ = prev_;
    prev_ = nullptr;
    next_ = nullptr;
  }
  target_ = target;
  if (target != nullptr) {
    // Join the front of the new target's list: O(1), and the order of
    // referrers means nothing.
    next_ = target->referrers_;
    if (ZELReference* const next = next_) next->prev_ = this;
    target->referrers_ = this;
  }
}

// ---------------------------------------------------------------------------
// ZELOwnedListBase

ZELOwnedListBase::ZELOwnedListBase(ZELObject* owner) {
  zel_link::adopt(this);
  owner_ = owner;
  if (owner == nullptr) return;
  // Join the end of the owner's chain, so that the chain (and a traversal)
  // follows the order in which the lists were declared. A class that owns
  // lists keeps their chain; one that does not is a programming error.
  ZELLink<ZELOwnedListBase>* link = owner->ownedListChain();
  if (link == nullptr) std::abort();
  while (!link->isNull()) link = &link->get()->nextListOfOwner_;
  *link = this;
}

ZELOwnedListBase::~ZELOwnedListBase() {
  deleteAll();  // also forgets the positions remembered in this list
  if (ZELObject* const owner = owner_) {
    for (ZELLink<ZELOwnedListBase>* link = owner->ownedListChain(); !link->isNull();
         link = &link->get()->nextListOfOwner_) {
      if (link->get() == this) {
        *link = nextListOfOwner_;
        break;
      }
    }
  }
  zel_link::forget(this);
}

namespace {

// The position objectAt found last on this thread, which makes walking a
// list by index O(1) a step without a field in every list. A change that
// moves positions or frees a list (a release, a deleteAll, a list's
// destruction) bumps the generation, which makes every remembered position
// stale; appending moves none.
std::atomic<uint64_t> positionGeneration{0};
struct RememberedPosition {
  const ZELOwnedListBase* list = nullptr;
  uint64_t generation = 0;
  ZELObject* object = nullptr;
  long index = 0;
};
thread_local RememberedPosition remembered;

void forgetPositions() noexcept {
  positionGeneration.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

ZELObject* ZELOwnedListBase::objectAt(long index) const {
  if (index < 0 || index >= count_) return nullptr;
  // Start from whichever known position is nearest: the first, the last or
  // the remembered one.
  ZELObject* at = first_;
  long atIndex = 0;
  long distance = index;
  if (count_ - 1 - index < distance) {
    at = at->prevSibling_;
    atIndex = count_ - 1;
    distance = count_ - 1 - index;
  }
  const uint64_t generation = positionGeneration.load(std::memory_order_relaxed);
  if (remembered.list == this && remembered.generation == generation) {
    const long fromRemembered =
        index >= remembered.index ? index - remembered.index : remembered.index - index;
    if (fromRemembered < distance) {
      at = remembered.object;
      atIndex = remembered.index;
    }
  }
  while (atIndex < index) {
    at = at->nextSibling_;
    ++atIndex;
  }
  while (atIndex > index) {
    at = at->prevSibling_;
    --atIndex;
  }
  remembered = RememberedPosition{this, generation, at, index};
  return at;
}

bool ZELOwnedListBase::append(ZELObject* object) {
  if (object == nullptr || object == owner_) return false;
  if (object->ownerList_ == this) return true;
  // A cycle needs `object` to own something, so a fresh object (the common
  // case) is accepted without walking the owner's ancestors.
  if (owner_ != nullptr) {
    bool ownsSomething = false;
    for (const ZELOwnedListBase* list = object->ownedLists(); list != nullptr;
         list = list->nextListOfOwner_) {
      if (list->count_ != 0) {
        ownsSomething = true;
        break;
      }
    }
    if (ownsSomething) {
      for (const ZELObject* ancestor = owner_->getOwner(); ancestor != nullptr;
           ancestor = ancestor->getOwner()) {
        if (ancestor == object) return false;
      }
    }
  }
  if (ZELOwnedListBase* const former = object->ownerList_) former->release(object);
  object->ownerList_ = this;
  object->nextSibling_ = nullptr;
  if (ZELObject* const first = first_) {
    ZELObject* last = first->prevSibling_;
    last->nextSibling_ = object;
    object->prevSibling_ = last;
    first->prevSibling_ = object;
  } else {
    first_ = object;
    object->prevSibling_ = object;
  }
  ++count_;
  return true;
}

void ZELOwnedListBase::release(ZELObject* object) noexcept {
  if (object == nullptr || object->ownerList_.get() != this) return;
  ZELObject* prev = object->prevSibling_;  // the last object when `object` is the first
  ZELObject* next = object->nextSibling_;
  if (object == first_.get()) {
    first_ = next;
    if (next != nullptr) next->prevSibling_ = prev;
  } else {
    prev->nextSibling_ = next;
    if (next != nullptr) {
      next->prevSibling_ = prev;
    } else {
      first_->prevSibling_ = prev;
    }
  }
  object->ownerList_ = nullptr;
  object->prevSibling_ = nullptr;
  object->nextSibling_ = nullptr;
  --count_;
  // Positions after the released object shift.
  forgetPositions();
}

void ZELOwnedListBase::deleteAll() {
  // The objects wait in a pending chain, linked through their sibling
  // pointers, so no destructor recurses into a deep tree. A list's whole
  // chain joins the front of it at once, without touching its objects, so
  // each object is touched once, when it is deleted: owners before what they
  // own, and an owner's objects right after it. A pending object still names
  // its former (by then empty) list until it is taken off the chain.
  ZELObject* pending = nullptr;
  // Puts the objects of `lists` and the lists after it in the chain, in
  // order, before the pending ones.
  auto takeAll = [&pending](ZELOwnedListBase* lists, bool wholeChain) {
    ZELObject* head = nullptr;
    ZELObject* tail = nullptr;
    for (ZELOwnedListBase* list = lists; list != nullptr;
         list = wholeChain ? list->nextListOfOwner_.get() : nullptr) {
      ZELObject* const first = list->first_;
      if (first == nullptr) continue;
      if (tail != nullptr) {
        tail->nextSibling_ = first;
      } else {
        head = first;
      }
      tail = first->prevSibling_;
      list->first_ = nullptr;
      list->count_ = 0;
    }
    if (tail == nullptr) return;
    tail->nextSibling_ = pending;
    pending = head;
  };
  takeAll(this, false);
  while (pending != nullptr) {
    ZELObject* object = pending;
    pending = object->nextSibling_;
    object->ownerList_ = nullptr;
    object->prevSibling_ = nullptr;
    object->nextSibling_ = nullptr;
    takeAll(object->ownedLists(), true);
    delete object;
  }
  // Last: a position remembered while the objects were deleted may name
  // one of them.
  forgetPositions();
}

// ---------------------------------------------------------------------------
// ZELReferenceListBase

void ZELReferenceListBase::append(ZELObject* target) {
  if (target == nullptr) return;
  Entry* entry = new Entry(this);
  entry->reference.set(target);
  entry->prev = last_;
  if (Entry* const last = last_) {
    last->next = entry;
  } else {
    first_ = entry;
  }
  last_ = entry;
  ++count_;
}

bool ZELReferenceListBase::remove(ZELObject* target) {
  for (Entry* entry = first_; entry != nullptr; entry = entry->next) {
    if (entry->reference.get() == target) {
      unlinkEntry(entry);
      delete entry;
      return true;
    }
  }
  return false;
}

void ZELReferenceListBase::clear() noexcept {
  while (Entry* const entry = first_) {
    unlinkEntry(entry);
    delete entry;  // its reference leaves the target's referrers
  }
}

void ZELReferenceListBase::unlinkEntry(Entry* entry) noexcept {
  if (Entry* const prev = entry->prev) {
    prev->next = entry->next;
  } else {
    first_ = entry->next;
  }
  if (Entry* const next = entry->next) {
    next->prev = entry->prev;
  } else {
    last_ = entry->prev;
  }
  entry->prev = nullptr;
  entry->next = nullptr;
  --count_;
}

// ---------------------------------------------------------------------------
// ZELObject

ZELObject::~ZELObject() {
  // Derived members are gone by now: owned lists have deleted their objects
  // and member references have unlinked themselves.
  zel_general_pointers::forget(this);
  if (ZELOwnedListBase* const list = ownerList_) list->release(this);
  // Each referrer is unlinked before it is acted on, so a callback that
  // looks at this object's referrers sees a consistent list.
  while (ZELReference* const reference = referrers_) {
    referrers_ = reference->next_;
    if (ZELReference* const next = referrers_) next->prev_ = nullptr;
    reference->prev_ = nullptr;
    reference->next_ = nullptr;
    reference->target_ = nullptr;
    if (reference->isListEntry()) {
      auto* entry = reinterpret_cast<ZELReferenceListBase::Entry*>(reference);
      ZELReferenceListBase* list = entry->list();
      list->entryLost(this);
      list->unlinkEntry(entry);
      delete entry;
    }
  }
  zel_link::forget(this);
}

void* ZELObject::getGeneralPointer() const noexcept {
  return zel_general_pointers::get(this);
}

void ZELObject::setGeneralPointer(void* pointer) {
  zel_general_pointers::set(this, pointer);
}

ZELObject* ZELObject::getOwner() const noexcept {
  return ownerList_ != nullptr ? ownerList_->owner() : nullptr;
}

namespace {

// A level of the walk where pre_process changed the argument that the
// object's children receive: the object, its own argument and theirs.
struct ArgumentChange {
  ZELObject* owner;
  void* ownArgument;
  void* childArgument;
};

// The argument changes along the current path. A few levels are held in
// place; only a deep path of changing arguments needs the heap.
class ArgumentChanges {
 public:
  bool empty() const noexcept { return count_ == 0; }
  void push(const ArgumentChange& change) {
    if (count_ >= kInline) spilled_.push_back(change);
    if (count_ < kInline) held_[count_] = change;
    ++count_;
  }
  const ArgumentChange& top() const noexcept {
    return count_ <= kInline ? held_[count_ - 1] : spilled_.back();
  }
  void pop() noexcept {
    if (count_ > kInline) spilled_.pop_back();
    --count_;
  }

 private:
  static constexpr size_t kInline = 32;
  ArgumentChange held_[kInline];
  std::vector<ArgumentChange> spilled_;
  size_t count_ = 0;
};

}  // namespace

// The walk needs no stack of its own: it goes down through the first object
// of each owner's lists, across through siblings and the owner's next lists,
// and back up through each object's owner. So it allocates nothing (unless
// pre_process changes the argument on a long path) and follows the objects'
// own links only.
void ZELObject::depthTraversal(ZELTraversalOperation& operation, void* argument) {
  auto firstObjectFrom = [](const ZELOwnedListBase* list) -> ZELObject* {
    for (; list != nullptr; list = list->nextListOfOwner_) {
      if (list->first_ != nullptr) return list->first_;
    }
    return nullptr;
  };
  ArgumentChanges changes;
  ZELObject* object = this;
  void* objectArgument = argument;
  for (;;) {
    // Visit `object`, then go down to its first owned object, if any.
    void* childArgument = objectArgument;
    const bool descend = operation.pre_process(object, childArgument);
    ZELObject* child = descend ? firstObjectFrom(object->ownedLists()) : nullptr;
    if (child != nullptr) {
      if (childArgument != objectArgument) {
        changes.push(ArgumentChange{object, objectArgument, childArgument});
      }
      object = child;
      objectArgument = childArgument;
      continue;
    }
    // `object` is done: leave it, and each owner whose last object it was,
    // until an object has a next one to visit.
    for (;;) {
      if (object == this) {
        operation.post_process(object, objectArgument);
        return;
      }
      // Read the links first: post_process may delete the object.
      const ZELOwnedListBase* list = object->ownerList_;
      ZELObject* next = object->nextSibling_ != nullptr ? object->nextSibling_
                                                        : firstObjectFrom(list->nextListOfOwner_);
      ZELObject* owner = list->owner_;
      operation.post_process(object, objectArgument);
      if (next != nullptr) {
        object = next;  // siblings receive the same argument
        break;
      }
      object = owner;
      if (!changes.empty() && changes.top().owner == owner) {
        objectArgument = changes.top().ownArgument;
        changes.pop();
      }
    }
  }
}
