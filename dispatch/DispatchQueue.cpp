#include <JorvaneFoundation/dispatch/DispatchQueue.h>

#include "dispatch/Queue.h"

namespace jv {

Queue& queueOf(const JVFoundation::DispatchQueue& reference) noexcept { return *reference.queue_; }

}  // namespace jv

namespace JVFoundation {

DispatchQueue DispatchQueue::create(std::optional<std::string_view> label) {
  return DispatchQueue(jv::Queue::makeSerial(label));
}
DispatchQueue DispatchQueue::globalQueue() { return DispatchQueue(jv::Queue::global()->retain()); }
DispatchQueue DispatchQueue::mainQueue() { return DispatchQueue(jv::Queue::main()->retain()); }

DispatchQueue::DispatchQueue(const DispatchQueue& other) noexcept : queue_(other.queue_->retain()) {}

DispatchQueue& DispatchQueue::operator=(const DispatchQueue& other) noexcept {
  jv::Queue* const before = std::exchange(queue_, other.queue_->retain());
  before->release();
  return *this;
}

DispatchQueue::~DispatchQueue() { queue_->release(); }

void DispatchQueue::submit(jv::Piece* piece) const noexcept { queue_->submit(piece); }

void DispatchQueue::setSpecific(const void* key, void* value, void (*destructor)(void*)) const {
  queue_->setSpecific(key, value, destructor);
}

void* DispatchQueue::getSpecific(const void* key) const noexcept { return queue_->specific(key); }

bool DispatchQueue::copySpecific(const void* key, void* copy, std::size_t size) const noexcept {
  return queue_->copySpecific(key, copy, size);
}

std::optional<std::string_view> DispatchQueue::label() const noexcept { return queue_->label(); }

}  // namespace JVFoundation
