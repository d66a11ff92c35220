// Blocking FIFO of untyped items: one mutex, two condition variables, and a
// free list that recycles nodes so that a queue in steady use allocates nothing.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace pxkit {

struct simple_node {
  void* data;
  simple_node* next;  // towards the tail, or the sentinel
  simple_node* prev;  // towards the head, or the sentinel; chains the free list
};

struct simple_queue {
  std::uint32_t capacity;  // 0 = unbounded
  std::uint32_t count;
  simple_node sentinel;    // sentinel.next = head (oldest), sentinel.prev = tail
  simple_node* free_list;  // popped nodes kept for reuse, chained through prev
  pthread_mutex_t lock;    // guards every field above
  pthread_cond_t not_full;
  pthread_cond_t not_empty;
  std::uint32_t waiting;   // threads blocked in a push or a pop right now
};

// New empty queue, or null after "fatal: no memory".
simple_queue* simple_queue_create(std::uint32_t capacity);
// Frees all nodes (queued and free) and the queue; the items are not touched.
void simple_queue_destroy(simple_queue* queue);
// Appends at the tail, waiting while a bounded queue is full. If no node can be
// allocated the item is dropped after "fatal: no memory for simple node".
void simple_queue_push(simple_queue* queue, void* item);
// Removes and returns the head, waiting while the queue is empty.
void* simple_queue_pop(simple_queue* queue);
// As simple_queue_pop, but returns null at once when the queue is empty.
void* simple_queue_try_pop(simple_queue* queue);
// Puts `nodes` fresh nodes on the free list so that the first pushes allocate
// nothing. False when memory ran out (the nodes made so far stay on the list).
bool simple_queue_reserve(simple_queue* queue, std::uint32_t nodes);
// Number of queued items.
std::uint32_t simple_queue_count(simple_queue* queue);
// Number of threads blocked in a push (queue full) or a pop (queue empty), for
// tests that must know a thread waits before they release it.
std::uint32_t simple_queue_waiting(simple_queue* queue);

}  // namespace pxkit
