// SPDX-License-Identifier: MIT
//
// The object list with its handlers, the object pool and the lists of plain values.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_IntList.h"
#include "classlib/base/Kt_ObjBufPool.h"
#include "classlib/base/Kt_PtrList.h"
#include "classlib/base/Kt_ThreadMutex.h"
#include "classlib/value/Kt_ObjList.h"

namespace {

int live_nodes = 0;

// A tree: a list whose elements have lists of the same kind.
struct Node {
  Node();
  Node(const Node&) = delete;
  ~Node() { --live_nodes; }
  std::string name;
  Kt_ObjList children;
};

class NodeHandler : public Kt_ObjListHandler {
 public:
  void* _InitItem(void* memory) const override { return new (memory) Node; }
  void _FreeItem(void* item) const override { static_cast<Node*>(item)->~Node(); }
  void _AssignItem(void* target, const void* source) const override {
    if (target == nullptr || source == nullptr) return;
    static_cast<Node*>(target)->name = static_cast<const Node*>(source)->name;
    static_cast<Node*>(target)->children = static_cast<const Node*>(source)->children;
  }
  int _CompareItem(const void* a, const void* b) const override {
    return (a != nullptr) - (b != nullptr);
  }
  std::size_t ItemSize() const override { return sizeof(Node); }
};

const NodeHandler kHandler;

Node::Node() : children(kHandler) { ++live_nodes; }

Node& At(Kt_ObjList& list, kt_long index) { return *static_cast<Node*>(list.GetAt(index)); }

Node& Add(Kt_ObjList& list, const char* name) {
  Node& node = At(list, list.Append());
  node.name = name;
  return node;
}

std::string Names(const Kt_ObjList& list) {
  std::string out;
  for (kt_long index = 0; index < list.GetCount(); ++index) {
    const Node& node = *static_cast<const Node*>(list.GetAt(index));
    out += node.name;
    if (node.children.GetCount() > 0) out += "(" + Names(node.children) + ")";
  }
  return out;
}

TEST(ObjList, ElementsKeepTheirAddress) {
  Kt_ObjList list(kHandler);
  Node* const first = &Add(list, "a");
  Node* const second = &Add(list, "b");
  for (int turn = 0; turn < 1000; ++turn) list.Append();
  EXPECT_EQ(list.GetAt(0), first);
  list.RemoveAt(0);
  EXPECT_EQ(list.GetAt(0), second);
  EXPECT_EQ(list.GetAt(-1), nullptr);
  EXPECT_EQ(list.GetAt(list.GetCount()), nullptr);
  list.RemoveAt(5000);
  EXPECT_EQ(live_nodes, 1001);
  list.Clear();
  EXPECT_EQ(live_nodes, 0);
}

TEST(ObjList, CopiesAreDeep) {
  Kt_ObjList list(kHandler);
  Add(Add(list, "a").children, "b");
  Kt_ObjList copy(list);
  EXPECT_EQ(copy.AddCopy(list.GetAt(0)), 1);
  At(list, 0).children.Clear();
  EXPECT_EQ(Names(list), "a");
  EXPECT_EQ(Names(copy), "a(b)a(b)");
  list = copy;
  EXPECT_EQ(Names(list), "a(b)a(b)");
  EXPECT_EQ(list.Assign(nullptr), 2);
  EXPECT_EQ(list.Assign(&list), 2);
}

TEST(ObjList, TakesTheListOfItsOwnElement) {
  Kt_ObjList list(kHandler);
  Node& root = Add(list, "root");
  Add(root.children, "x");
  Add(Add(root.children, "y").children, "z");
  EXPECT_EQ(list.Assign(&root.children), 2);
  EXPECT_EQ(Names(list), "xy(z)");
  EXPECT_EQ(live_nodes, 3);
}

TEST(ObjBufPool, GivesDistinctAlignedMemoryAndReusesIt) {
  Kt_ObjBufPool pool("test", 24, 4);
  std::set<void*> seen;
  for (int turn = 0; turn < 10; ++turn) {
    void* const object = pool.Alloc();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(object) % alignof(std::max_align_t), 0u);
    std::fill_n(static_cast<char*>(object), 24, '\xEE');
    EXPECT_TRUE(seen.insert(object).second);
  }
  EXPECT_EQ(pool.GetUsedCount(), 10);
  for (void* const object : seen) pool.Free(object);
  pool.Free(nullptr);
  EXPECT_EQ(pool.GetUsedCount(), 0);
  void* const again = pool.Alloc();
  EXPECT_TRUE(seen.contains(again));
  pool.Free(again);
}

TEST(ObjBufPool, ServesThreadsAtOnce) {
  Kt_ObjBufPool pool("threads", 1, 3);
  const auto work = [&pool] {
    std::vector<void*> held;
    for (int turn = 0; turn < 2000; ++turn) {
      held.push_back(pool.Alloc());
      *static_cast<char*>(held.back()) = 'x';
      if (turn % 3 == 0) {
        pool.Free(held.front());
        held.erase(held.begin());
      }
    }
    for (void* const object : held) pool.Free(object);
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(pool.GetUsedCount(), 0);
}

TEST(PlainLists, ItemsOutsideAreZero) {
  Kt_IntList numbers;
  EXPECT_EQ(numbers.Add(7), 0);
  EXPECT_EQ(numbers.Add(8), 1);
  numbers.SetItem(0, 9);
  numbers.SetItem(5, 1);
  numbers.RemoveAt(2);
  EXPECT_EQ(numbers.GetItem(0), 9);
  EXPECT_EQ(numbers.GetItem(-1), 0);
  EXPECT_EQ(numbers.GetItem(2), 0);
  EXPECT_EQ(numbers.Find(8), 1);
  numbers.RemoveAt(0);
  EXPECT_EQ(numbers.Find(9), -1);
  Kt_PtrList pointers;
  pointers.Add(&numbers);
  EXPECT_EQ(pointers.GetItem(0), &numbers);
  EXPECT_EQ(pointers.GetItem(1), nullptr);
}

TEST(PlainLists, BufferAndMutex) {
  Kt_Buffer buffer;
  buffer.Append(nullptr, 0);
  buffer.Append(std::string_view("a\0b", 3));
  buffer.Append("c", 1);
  EXPECT_EQ(buffer.View(), std::string_view("a\0bc", 4));
  Kt_ThreadMutex mutex;
  const std::lock_guard lock(mutex);
  std::thread([&mutex] { EXPECT_FALSE(mutex.try_lock()); }).join();
}

}  // namespace
