#include "Scratch.h"

#include <memory>
#include <vector>

namespace Kalix {

namespace {

// Pooled objects keep their storage so repeated small calls do not allocate; very large
// blocks are given back to the system rather than held by an idle thread.
constexpr int kMaxRetainedLength = 1 << 23;  // elements (64 MiB of doubles)
constexpr std::size_t kMaxPooled = 32;       // free objects kept per container type

template <class C>
struct TFreeList {
  std::vector<std::unique_ptr<C>> items;
};

struct TPool {
  TFreeList<TVec> vecs;
  TFreeList<TMtx> mtxs;
  TFreeList<TVecInt> ints;
  int outstanding = 0;

  TFreeList<TVec>& List(TVec*) { return vecs; }
  TFreeList<TMtx>& List(TMtx*) { return mtxs; }
  TFreeList<TVecInt>& List(TVecInt*) { return ints; }
};

TPool& Pool() {
  thread_local TPool pool;
  return pool;
}

template <class C>
C* Acquire() {
  TPool& pool = Pool();
  auto& list = pool.List(static_cast<C*>(nullptr)).items;
  C* obj;
  if (list.empty()) {
    obj = new C();
  } else {
    obj = list.back().release();
    list.pop_back();
  }
  ++pool.outstanding;
  return obj;
}

void Empty(TVec* v) { v->Size(0); }
void Empty(TMtx* m) { m->Size(0, 0); }
void Empty(TVecInt* v) { v->Size(0); }

template <class C>
void Release(C* obj) noexcept {
  TPool& pool = Pool();
  --pool.outstanding;
  auto& list = pool.List(obj).items;
  if (obj->Length() > kMaxRetainedLength || list.size() >= kMaxPooled) {
    delete obj;
    return;
  }
  Empty(obj);
  try {
    list.emplace_back(obj);
  } catch (...) {
    delete obj;
  }
}

}  // namespace

namespace detail {
TVec* ScratchAcquire(TVec*) { return Acquire<TVec>(); }
TMtx* ScratchAcquire(TMtx*) { return Acquire<TMtx>(); }
TVecInt* ScratchAcquire(TVecInt*) { return Acquire<TVecInt>(); }
void ScratchRelease(TVec* v) noexcept { Release(v); }
void ScratchRelease(TMtx* m) noexcept { Release(m); }
void ScratchRelease(TVecInt* v) noexcept { Release(v); }
}  // namespace detail

int ScratchOutstanding() noexcept { return Pool().outstanding; }

}  // namespace Kalix
