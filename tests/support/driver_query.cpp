#include "tests/support/driver_query.h"

#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/calls.h"

namespace zor::scripted {

Drivers& TheDrivers() {
  static Drivers drivers;
  return drivers;
}

}  // namespace zor::scripted

namespace zor::platform {
namespace {

using scripted::PlatformScope;
using scripted::TheDrivers;

using scripted::Function;
using scripted::TheCalls;

constexpr ComResult kNotFound = static_cast<ComResult>(0x80041002);

void Record(std::wstring_view name, std::wstring_view arguments = {}) {
  const PlatformScope scope;
  TheDrivers().calls.push_back(std::wstring(name).append(arguments));
}

ComResult Step(Function function, const wchar_t* name, std::wstring_view arguments = {}) {
  const PlatformScope scope;
  Record(name, arguments);
  if (const auto fault = TheCalls().Enter(function)) return static_cast<ComResult>(*fault);
  const auto result = TheDrivers().results.find(name);
  return result == TheDrivers().results.end() ? 0 : result->second;
}

}  // namespace

struct DriverQuery::Objects {
  std::size_t next_row = 0;
  /// What the value holds: nothing yet, something else than a string, or a string.
  std::optional<std::optional<std::wstring>> value;
};

DriverQuery::DriverQuery() : objects_(std::make_unique<Objects>()) { ++TheDrivers().open_queries; }

DriverQuery::~DriverQuery() { --TheDrivers().open_queries; }

ComResult DriverQuery::InitializeSecurity() noexcept {
  return Step(Function::kInitializeSecurity, L"InitializeSecurity");
}

ComResult DriverQuery::CreateLocator() noexcept {
  return Step(Function::kCreateLocator, L"CreateLocator");
}

ComResult DriverQuery::ConnectServer(const wchar_t* name_space) noexcept {
  const PlatformScope scope;
  return Step(Function::kConnectServer, L"ConnectServer", std::wstring(L" ") + name_space);
}

ComResult DriverQuery::SetProxyBlanket() noexcept {
  return Step(Function::kSetProxyBlanket, L"SetProxyBlanket");
}

ComResult DriverQuery::ExecQuery(const wchar_t* language, const wchar_t* query) noexcept {
  const PlatformScope scope;
  return Step(Function::kExecQuery, L"ExecQuery", std::wstring(L" ") + language + L" " + query);
}

bool DriverQuery::NextRow() noexcept {
  if (Step(Function::kNextRow, L"NextRow") != 0) return false;
  if (objects_->next_row == TheDrivers().rows.size()) return false;
  ++objects_->next_row;
  return true;
}

ComResult DriverQuery::ReadProperty(const wchar_t* name) noexcept {
  const PlatformScope scope;
  const ComResult step = Step(Function::kReadProperty, L"ReadProperty", std::wstring(L" ") + name);
  if (step < 0) return step;
  const scripted::DriverRow& row = TheDrivers().rows.at(objects_->next_row - 1);
  const auto property = row.find(name);
  if (property == row.end()) return kNotFound;
  if (property->second.stores) objects_->value = property->second.text;
  return property->second.result;
}

const wchar_t* DriverQuery::text() const noexcept {
  return objects_->value && *objects_->value ? (*objects_->value)->c_str() : nullptr;
}

void DriverQuery::ClearValue() noexcept {
  Record(L"ClearValue");
  objects_->value.reset();
}

}  // namespace zor::platform
