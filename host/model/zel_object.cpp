#include "model/zel_object.h"

#include <cstddef>
#include <type_traits>
#include <vector>

// ~ZELObject recovers a list entry from the reference it holds: the reference
// must be the entry's first member of a standard-layout type.
static_assert(std::is_standard_layout<ZELReferenceListBase::Entry>::value,
              "entries are recovered from their reference");
static_assert(offsetof(ZELReferenceListBase::Entry, reference) == 0,
              "the reference opens the entry");

// ---------------------------------------------------------------------------
// ZELReference

void ZELReference::set(ZELObject* target) {
  if (target == target_) return;
  if (target_ != nullptr) {
    // Leave the old target's list of referrers.
    if (prev_ != nullptr) {
      prev_->next_ = next_;
    } else {
      target_->referrers_ = next_;
    }
    if (next_ != nullptr) next_->prev_ = prev_;
    prev_ = next_ = nullptr;
  }
  target_ = target;
  if (target != nullptr) {
    // Join the front of the new target's list: O(1), and the order of
    // referrers means nothing.
    next_ = target->referrers_;
    if (next_ != nullptr) next_->prev_ = this;
    target->referrers_ = this;
  }
}

// ---------------------------------------------------------------------------
// ZELOwnedListBase

ZELOwnedListBase::ZELOwnedListBase(ZELObject* owner) noexcept : owner_(owner) {
  if (owner == nullptr) return;
  // Join the end of the owner's chain, so that the chain (and a traversal)
  // follows the order in which the lists were declared.
  ZELOwnedListBase** link = &owner->ownedLists_;
  while (*link != nullptr) link = &(*link)->nextListOfOwner_;
  *link = this;
}

ZELOwnedListBase::~ZELOwnedListBase() {
  deleteAll();
  if (owner_ == nullptr) return;
  for (ZELOwnedListBase** link = &owner_->ownedLists_; *link != nullptr;
       link = &(*link)->nextListOfOwner_) {
    if (*link == this) {
      *link = nextListOfOwner_;
      break;
    }
  }
}

ZELObject* ZELOwnedListBase::objectAt(long index) const {
  if (index < 0 || index >= count_) return nullptr;
  // Start from whichever known position is nearest: the first, the last or
  // the remembered one.
  ZELObject* at = first_;
  long atIndex = 0;
  long distance = index;
  if (count_ - 1 - index < distance) {
    at = last_;
    atIndex = count_ - 1;
    distance = count_ - 1 - index;
  }
  if (cachedIndex_ >= 0) {
    const long fromCache = index >= cachedIndex_ ? index - cachedIndex_ : cachedIndex_ - index;
    if (fromCache < distance) {
      at = cachedObject_;
      atIndex = cachedIndex_;
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
  cachedObject_ = at;
  cachedIndex_ = index;
  return at;
}

bool ZELOwnedListBase::append(ZELObject* object) {
  if (object == nullptr || object == owner_) return false;
  if (object->ownerList_ == this) return true;
  // A cycle needs `object` to own something, so a fresh object (the common
  // case) is accepted without walking the owner's ancestors.
  if (owner_ != nullptr) {
    bool ownsSomething = false;
    for (const ZELOwnedListBase* list = object->ownedLists_; list != nullptr;
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
  if (object->ownerList_ != nullptr) object->ownerList_->release(object);
  object->ownerList_ = this;
  object->prevSibling_ = last_;
  object->nextSibling_ = nullptr;
  if (last_ != nullptr) {
    last_->nextSibling_ = object;
  } else {
    first_ = object;
  }
  last_ = object;
  ++count_;
  return true;
}

void ZELOwnedListBase::release(ZELObject* object) noexcept {
  if (object == nullptr || object->ownerList_ != this) return;
  if (object->prevSibling_ != nullptr) {
    object->prevSibling_->nextSibling_ = object->nextSibling_;
  } else {
    first_ = object->nextSibling_;
  }
  if (object->nextSibling_ != nullptr) {
    object->nextSibling_->prevSibling_ = object->prevSibling_;
  } else {
    last_ = object->prevSibling_;
  }
  object->ownerList_ = nullptr;
  object->prevSibling_ = object->nextSibling_ = nullptr;
  --count_;
  // Positions after the released object shift; forget the remembered one.
  cachedObject_ = nullptr;
  cachedIndex_ = -1;
}

void ZELOwnedListBase::deleteAll() {
  // Objects are taken out of their lists into a queue (linked through their
  // free sibling pointers) before they are deleted, owners before what they
  // own, so no destructor recurses into a deep tree.
  ZELObject* head = nullptr;
  ZELObject* tail = nullptr;
  auto takeAll = [&head, &tail](ZELOwnedListBase* list) {
    while (list->first_ != nullptr) {
      ZELObject* object = list->first_;
      list->release(object);
      if (tail != nullptr) {
        tail->nextSibling_ = object;
      } else {
        head = object;
      }
      tail = object;
    }
  };
  takeAll(this);
  while (head != nullptr) {
    ZELObject* object = head;
    head = object->nextSibling_;
    if (head == nullptr) tail = nullptr;
    object->nextSibling_ = nullptr;
    for (ZELOwnedListBase* list = object->ownedLists_; list != nullptr;
         list = list->nextListOfOwner_) {
      takeAll(list);
    }
    delete object;
  }
}

// ---------------------------------------------------------------------------
// ZELReferenceListBase

void ZELReferenceListBase::append(ZELObject* target) {
  if (target == nullptr) return;
  Entry* entry = new Entry(holder_);
  entry->reference.list_ = this;
  entry->reference.set(target);
  entry->prev = last_;
  if (last_ != nullptr) {
    last_->next = entry;
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
  while (first_ != nullptr) {
    Entry* entry = first_;
    unlinkEntry(entry);
    delete entry;  // its reference leaves the target's referrers
  }
}

void ZELReferenceListBase::unlinkEntry(Entry* entry) noexcept {
  if (entry->prev != nullptr) {
    entry->prev->next = entry->next;
  } else {
    first_ = entry->next;
  }
  if (entry->next != nullptr) {
    entry->next->prev = entry->prev;
  } else {
    last_ = entry->prev;
  }
  entry->prev = entry->next = nullptr;
  --count_;
}

// ---------------------------------------------------------------------------
// ZELObject

ZELObject::~ZELObject() {
  // Derived members are gone by now: owned lists have deleted their objects
  // and member references have unlinked themselves.
  if (ownerList_ != nullptr) ownerList_->release(this);
  // Each referrer is unlinked before it is acted on, so a callback that
  // looks at this object's referrers sees a consistent list.
  while (referrers_ != nullptr) {
    ZELReference* reference = referrers_;
    referrers_ = reference->next_;
    if (referrers_ != nullptr) referrers_->prev_ = nullptr;
    reference->prev_ = reference->next_ = nullptr;
    reference->target_ = nullptr;
    ZELReferenceListBase* list = reference->list_;
    if (list != nullptr) {
      auto* entry = reinterpret_cast<ZELReferenceListBase::Entry*>(reference);
      list->entryLost(this);
      list->unlinkEntry(entry);
      delete entry;
    }
  }
}

ZELObject* ZELObject::getOwner() const noexcept {
  return ownerList_ != nullptr ? ownerList_->owner() : nullptr;
}

namespace {

// One object being walked: where it stands in its owned lists.
struct TraversalFrame {
  ZELObject* object;
  void* argument;          // as the object received it
  void* childArgument;     // as pre_process left it
  ZELOwnedListBase* list;  // the owned list being walked, or null when done
  ZELObject* nextChild;    // the next object of that list to visit
};

}  // namespace

void ZELObject::depthTraversal(ZELTraversalOperation& operation, void* argument) {
  std::vector<TraversalFrame> stack;
  auto enter = [&stack, &operation](ZELObject* object, void* objectArgument) {
    void* childArgument = objectArgument;
    const bool descend = operation.pre_process(object, childArgument);
    ZELOwnedListBase* list = descend ? object->ownedLists_ : nullptr;
    stack.push_back({object, objectArgument, childArgument, list,
                     list != nullptr ? list->firstObject() : nullptr});
  };
  enter(this, argument);
  while (!stack.empty()) {
    TraversalFrame& top = stack.back();
    while (top.nextChild == nullptr && top.list != nullptr) {
      top.list = top.list->nextListOfOwner_;
      top.nextChild = top.list != nullptr ? top.list->firstObject() : nullptr;
    }
    if (top.nextChild != nullptr) {
      ZELObject* child = top.nextChild;
      // Read the sibling first: post_process may delete the child.
      top.nextChild = child->nextSibling_;
      enter(child, top.childArgument);  // may reallocate the stack: `top` is stale
      continue;
    }
    ZELObject* object = top.object;
    void* objectArgument = top.argument;
    stack.pop_back();
    operation.post_process(object, objectArgument);
  }
}
