#include "Backends/Linux/Bus/BusFlight.h"

#include <utility>

namespace tavik {

BusFlight::BusFlight(BusConnection& connection, std::size_t window)
    : connection_(connection), window_(window) {}

BusFlight::~BusFlight() {
  std::vector<std::uint32_t> serials;
  for (const auto& [number, call] : outstanding_) serials.push_back(call.first);
  if (!serials.empty()) connection_.forget(serials);
}

void BusFlight::send(BusMessage message, std::uint64_t tag) {
  waiting_.push_back({std::move(message), tag});
  launch();
}

void BusFlight::launch() {
  while (!waiting_.empty() && outstanding_.size() < window_) {
    Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    std::uint64_t number = nextNumber_++;
    std::optional<std::uint32_t> serial = connection_.callInto(mailbox_, number, next.message);
    outstanding_[number] = {serial.value_or(0), next.tag};
  }
}

std::optional<BusMailbox::Arrival> BusFlight::next(BusConnection::Clock::time_point deadline) {
  if (isEmpty()) return std::nullopt;
  std::optional<BusMailbox::Arrival> arrival = mailbox_->take(deadline);
  if (!arrival) return std::nullopt;
  auto call = outstanding_.find(arrival->tag);
  arrival->tag = call->second.second;
  outstanding_.erase(call);
  launch();
  return arrival;
}

}  // namespace tavik
