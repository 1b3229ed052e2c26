#include "platform/driver_query.h"

#include <windows.h>

#include <oleauto.h>
#include <wbemidl.h>
#include <wrl/client.h>

#include <utility>

namespace zor::platform {
namespace {

using Microsoft::WRL::ComPtr;

class SystemString {
 public:
  explicit SystemString(const wchar_t* text) noexcept : text_(SysAllocString(text)) {}
  SystemString(const SystemString&) = delete;
  SystemString& operator=(const SystemString&) = delete;
  ~SystemString() { SysFreeString(text_); }

  [[nodiscard]] BSTR get() const noexcept { return text_; }

 private:
  BSTR text_;
};

class Variant {
 public:
  Variant() noexcept { VariantInit(&value_); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(&value_); }

  void Swap(Variant& other) noexcept { std::swap(value_, other.value_); }
  void Clear() noexcept { VariantClear(&value_); }
  [[nodiscard]] VARIANT* receive() noexcept { return &value_; }
  [[nodiscard]] const VARIANT& get() const noexcept { return value_; }

 private:
  VARIANT value_{};
};

}  // namespace

struct DriverQuery::Objects {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  ComPtr<IEnumWbemClassObject> rows;
  ComPtr<IWbemClassObject> row;
  Variant value;
};

DriverQuery::DriverQuery() : objects_(std::make_unique<Objects>()) {}

DriverQuery::~DriverQuery() = default;

ComResult DriverQuery::InitializeSecurity() noexcept {
  return CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                              RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
}

ComResult DriverQuery::CreateLocator() noexcept {
  return CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                          reinterpret_cast<void**>(objects_->locator.ReleaseAndGetAddressOf()));
}

ComResult DriverQuery::ConnectServer(const wchar_t* name_space) noexcept {
  const SystemString name(name_space);
  if (name.get() == nullptr) return E_OUTOFMEMORY;
  return objects_->locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr,
                                          nullptr, objects_->services.ReleaseAndGetAddressOf());
}

ComResult DriverQuery::SetProxyBlanket() noexcept {
  return CoSetProxyBlanket(objects_->services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                           RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

ComResult DriverQuery::ExecQuery(const wchar_t* language, const wchar_t* query) noexcept {
  const SystemString language_text(language);
  const SystemString query_text(query);
  if (language_text.get() == nullptr || query_text.get() == nullptr) return E_OUTOFMEMORY;
  return objects_->services->ExecQuery(language_text.get(), query_text.get(),
                                       WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                       nullptr, objects_->rows.ReleaseAndGetAddressOf());
}

bool DriverQuery::NextRow() noexcept {
  ULONG count = 0;
  // Not the result but the count tells whether an object came.
  objects_->rows->Next(static_cast<LONG>(WBEM_INFINITE), 1, objects_->row.ReleaseAndGetAddressOf(),
                       &count);
  return count != 0;
}

ComResult DriverQuery::ReadProperty(const wchar_t* name) noexcept {
  // A read overwrites the variant that it is given without clearing it, so it gets an empty one;
  // one that fails and still stores something counts as well.
  Variant fresh;
  const HRESULT result = objects_->row->Get(name, 0, fresh.receive(), nullptr, nullptr);
  if (SUCCEEDED(result) || fresh.get().vt != VT_EMPTY) objects_->value.Swap(fresh);
  return result;
}

const wchar_t* DriverQuery::text() const noexcept {
  const VARIANT& value = objects_->value.get();
  if (value.vt != VT_BSTR) return nullptr;
  return value.bstrVal == nullptr ? L"" : value.bstrVal;
}

void DriverQuery::ClearValue() noexcept { objects_->value.Clear(); }

}  // namespace zor::platform
