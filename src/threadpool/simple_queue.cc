#include "threadpool/simple_queue.h"

#include "common/diag.h"
#include "common/memory.h"

namespace pxkit {
namespace {

// Unlinks the head, recycles its node and returns its item. The caller holds
// the lock and has checked that count > 0. Returns null (and changes nothing)
// when the list is empty although count says otherwise.
void* take_head(simple_queue* q) {
  simple_node* head = q->sentinel.next;
  if (head == &q->sentinel) {
    diag::line("fatal error: corruptted queue.");
    return nullptr;
  }
  const std::uint32_t count_before = q->count;
  head->next->prev = &q->sentinel;
  q->sentinel.next = head->next;
  q->count--;
  void* item = head->data;
  head->prev = q->free_list;
  q->free_list = head;
  if (q->capacity != 0 && count_before >= q->capacity) pthread_cond_signal(&q->not_full);
  return item;
}

void wait_on(simple_queue* q, pthread_cond_t* cond) {
  q->waiting++;
  pthread_cond_wait(cond, &q->lock);
  q->waiting--;
}

void free_chain_by_prev(simple_node* node, const simple_node* stop) {
  while (node != stop) {
    simple_node* prev = node->prev;
    mem::release(node);
    node = prev;
  }
}

}  // namespace

simple_queue* simple_queue_create(std::uint32_t capacity) {
  auto* q = static_cast<simple_queue*>(mem::allocate_zeroed(sizeof(simple_queue)));
  if (q == nullptr) {
    diag::line("fatal: no memory");
    return nullptr;
  }
  q->capacity = capacity;
  q->sentinel.next = &q->sentinel;
  q->sentinel.prev = &q->sentinel;
  pthread_mutex_init(&q->lock, nullptr);
  pthread_cond_init(&q->not_full, nullptr);
  pthread_cond_init(&q->not_empty, nullptr);
  return q;
}

void simple_queue_destroy(simple_queue* q) {
  free_chain_by_prev(q->sentinel.prev, &q->sentinel);  // queued nodes, tail to head
  free_chain_by_prev(q->free_list, nullptr);
  pthread_mutex_destroy(&q->lock);
  pthread_cond_destroy(&q->not_full);
  pthread_cond_destroy(&q->not_empty);
  mem::release(q);
}

void simple_queue_push(simple_queue* q, void* item) {
  pthread_mutex_lock(&q->lock);
  while (q->capacity != 0 && q->count >= q->capacity) wait_on(q, &q->not_full);
  simple_node* node = q->free_list;
  if (node != nullptr) {
    q->free_list = node->prev;
  } else {
    node = static_cast<simple_node*>(mem::allocate(sizeof(simple_node)));
    if (node == nullptr) {
      diag::line("fatal: no memory for simple node");
      pthread_mutex_unlock(&q->lock);
      return;
    }
  }
  simple_node* tail = q->sentinel.prev;
  node->prev = tail;
  node->next = &q->sentinel;
  tail->next = node;
  q->sentinel.prev = node;
  node->data = item;
  q->count++;
  pthread_cond_signal(&q->not_empty);
  pthread_mutex_unlock(&q->lock);
}

void* simple_queue_pop(simple_queue* q) {
  pthread_mutex_lock(&q->lock);
  while (q->count == 0) wait_on(q, &q->not_empty);
  void* item = take_head(q);
  pthread_mutex_unlock(&q->lock);
  return item;
}

void* simple_queue_try_pop(simple_queue* q) {
  pthread_mutex_lock(&q->lock);
  void* item = nullptr;
  if (q->count != 0) item = take_head(q);
  pthread_mutex_unlock(&q->lock);
  return item;
}

bool simple_queue_reserve(simple_queue* q, std::uint32_t nodes) {
  bool complete = true;
  pthread_mutex_lock(&q->lock);
  for (std::uint32_t i = 0; i < nodes && complete; ++i) {
    auto* node = static_cast<simple_node*>(mem::allocate(sizeof(simple_node)));
    complete = node != nullptr;
    if (complete) {
      node->prev = q->free_list;
      q->free_list = node;
    }
  }
  pthread_mutex_unlock(&q->lock);
  return complete;
}

std::uint32_t simple_queue_count(simple_queue* q) {
  pthread_mutex_lock(&q->lock);
  const std::uint32_t count = q->count;
  pthread_mutex_unlock(&q->lock);
  return count;
}

std::uint32_t simple_queue_waiting(simple_queue* q) {
  pthread_mutex_lock(&q->lock);
  const std::uint32_t waiting = q->waiting;
  pthread_mutex_unlock(&q->lock);
  return waiting;
}

}  // namespace pxkit
