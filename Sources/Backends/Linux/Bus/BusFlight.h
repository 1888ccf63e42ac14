#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <unordered_map>

#include "Backends/Linux/Bus/BusConnection.h"

namespace tavik {

/// Many calls on their way at once, read by one thread as their answers arrive.
/// A window bounds how many are on their way; the others wait here, in order.
/// What has not been answered when the flight ends is forgotten.
class BusFlight {
 public:
  explicit BusFlight(BusConnection& connection, std::size_t window = 128);
  ~BusFlight();
  BusFlight(const BusFlight&) = delete;
  BusFlight& operator=(const BusFlight&) = delete;

  /// The tag comes back with the answer.
  void send(BusMessage message, std::uint64_t tag);

  /// The next answer, in the order of arrival. Absent when nothing is outstanding
  /// or when the deadline has passed.
  std::optional<BusMailbox::Arrival> next(BusConnection::Clock::time_point deadline);

  bool isEmpty() const { return waiting_.empty() && outstanding_.empty(); }

 private:
  struct Waiting {
    BusMessage message;
    std::uint64_t tag;
  };

  void launch();

  BusConnection& connection_;
  const std::size_t window_;
  const std::shared_ptr<BusMailbox> mailbox_ = std::make_shared<BusMailbox>();
  std::deque<Waiting> waiting_;
  /// The serial of each call on its way, by the number it was sent under.
  std::unordered_map<std::uint64_t, std::pair<std::uint32_t, std::uint64_t>> outstanding_;
  std::uint64_t nextNumber_ = 0;
};

}  // namespace tavik
