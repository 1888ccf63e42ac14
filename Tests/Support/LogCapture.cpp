#include "Tests/Support/LogCapture.h"

#include <stdexcept>

#include "Base/Concurrency/Task.h"

namespace tavik {

namespace {

std::string plain(const LogValue& value) {
  struct Visitor {
    std::string operator()(std::monostate) const { return "nil"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(const LoggedError& error) const {
      return error.typeName + "(domain=" + error.domain + ",code=" + std::to_string(error.code) + ")";
    }
  };
  return std::visit(Visitor{}, value.storage());
}

}  // namespace

LogCapture::LogCapture() : storage_(std::make_shared<Storage>()) {
  LogEnvironment environment = TavikComputerUseLogger::environment();
  environment.variable = [](const std::string&) { return std::optional<std::string>("fault"); };
  environment.systemLog = nullptr;
  environment.observer = [storage = storage_](const LogRecord& record) {
    CapturedRecord captured{record.level, record.category, std::string(record.event), {}, TaskRecord::requestID()};
    for (const auto& [key, value] : record.fields) captured.fields[key] = plain(value);
    std::lock_guard lock(storage->mutex);
    storage->records.push_back(std::move(captured));
  };
  previous_ = TavikComputerUseLogger::install(std::move(environment));
}

LogCapture::~LogCapture() { TavikComputerUseLogger::install(std::move(previous_)); }

std::vector<CapturedRecord> LogCapture::records() const {
  std::lock_guard lock(storage_->mutex);
  return storage_->records;
}

std::vector<CapturedRecord> LogCapture::records(const std::string& event) const {
  std::vector<CapturedRecord> matching;
  for (CapturedRecord& record : records()) {
    if (record.event == event) matching.push_back(std::move(record));
  }
  return matching;
}

std::vector<std::string> LogCapture::events() const {
  std::vector<std::string> names;
  for (const CapturedRecord& record : records()) names.push_back(record.event);
  return names;
}

CapturedRecord LogCapture::only(const std::string& event) const {
  auto matching = records(event);
  if (matching.size() != 1) {
    throw std::runtime_error(std::to_string(matching.size()) + " records of '" + event + "' were logged");
  }
  return matching.front();
}

void LogCapture::clear() {
  std::lock_guard lock(storage_->mutex);
  storage_->records.clear();
}

}  // namespace tavik
