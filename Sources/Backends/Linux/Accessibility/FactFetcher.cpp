#include "Backends/Linux/Accessibility/FactFetcher.h"

#include <algorithm>

#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

namespace {

constexpr std::uint64_t questionsPerOrder = 32;

/// A refusal of these two means that the object itself is gone.
constexpr Facets vitalFacets = statesFacet | roleFacet;

}  // namespace

FactFetcher::FactFetcher(BusConnection& bus, FactsMap& facts, ToolkitOf toolkitOf,
                         std::chrono::milliseconds patience, std::chrono::milliseconds budget)
    : facts_(facts), toolkitOf_(std::move(toolkitOf)), patience_(patience), budget_(budget), flight_(bus) {}

void FactFetcher::want(const AccessibleReference& object, Facets facets) {
  auto [entry, isNew] = orderOf_.try_emplace(object, orders_.size());
  if (isNew) orders_.push_back({.object = object, .facts = &facts_[object]});
  std::size_t index = entry->second;
  Order& order = orders_[index];
  Facets missing = facets & ~order.facts->known & ~order.asked;
  if ((missing & facetsBehindInterfaces()) && !order.facts->knows(interfacesFacet)) {
    order.deferred |= missing & facetsBehindInterfaces();
    missing &= ~facetsBehindInterfaces();
    if (!(order.asked & interfacesFacet)) missing |= interfacesFacet;
  }
  ask(index, missing);
  if (order.outstanding == 0) settled_.push_back(index);
}

void FactFetcher::ask(std::size_t index, Facets facets) {
  Order& order = orders_[index];
  auto questions = factQuestions();
  Toolkit toolkit = toolkitOf_(order.object);
  for (std::size_t i = 0; i < questions.size(); ++i) {
    const FactQuestion& question = questions[i];
    if (!(question.facet & facets)) continue;
    if (question.interface != 0 && !(order.facts->interfaces & question.interface)) {
      order.facts->known |= question.facet;
      continue;
    }
    order.asked |= question.facet;
    ++order.outstanding;
    flight_.send(question.ask(order.object, toolkit), index * questionsPerOrder + i);
  }
}

void FactFetcher::take(std::size_t index, std::size_t questionIndex, const BusReply& reply) {
  const FactQuestion& question = factQuestions()[questionIndex];
  Order& order = orders_[index];
  --order.outstanding;
  if (reply.ok()) {
    question.take(reply.read(), *order.facts);
  } else if (reply.status == BusReply::Status::disconnected) {
    order.facts->failure = AXError::cannotComplete;
  } else if (question.facet & vitalFacets) {
    order.facts->failure = AXError::invalidUIElement;
  }
}

void FactFetcher::settle(std::size_t index, const OnKnown& onKnown) {
  Order& order = orders_[index];
  order.facts->known |= order.asked;
  order.asked = 0;
  if (Facets deferred = std::exchange(order.deferred, 0)) {
    ask(index, deferred);
    if (order.outstanding > 0) return;
    order.facts->known |= order.asked;
  }
  if (onKnown) {
    AccessibleReference object = order.object;
    onKnown(object, *order.facts);
  }
}

FactFetcher::Outcome FactFetcher::run(const OnKnown& onKnown) {
  using Clock = BusConnection::Clock;
  const Clock::time_point end = Clock::now() + budget_;
  while (true) {
    while (!settled_.empty()) {
      std::size_t index = settled_.back();
      settled_.pop_back();
      if (orders_[index].outstanding == 0) settle(index, onKnown);
    }
    if (flight_.isEmpty()) return Outcome::complete;
    Clock::time_point now = Clock::now();
    if (now >= end) return Outcome::cutShort;
    std::optional<BusMailbox::Arrival> arrival = flight_.next(std::min(end, now + patience_));
    if (!arrival) {
      bool isSilent = Clock::now() < end || budget_ <= patience_;
      if (!isSilent) return Outcome::cutShort;
      for (Order& order : orders_) {
        if (order.outstanding > 0) order.facts->failure = AXError::cannotComplete;
      }
      return Outcome::silent;
    }
    if (arrival->reply.status == BusReply::Status::disconnected) {
      orders_[arrival->tag / questionsPerOrder].facts->failure = AXError::cannotComplete;
      return Outcome::silent;
    }
    std::size_t index = arrival->tag / questionsPerOrder;
    take(index, arrival->tag % questionsPerOrder, arrival->reply);
    if (orders_[index].outstanding == 0) settled_.push_back(index);
  }
}

}  // namespace tavik
