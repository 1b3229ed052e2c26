#include "platform/driver_query.h"

#include <windows.h>

#include <oleauto.h>
#include <wbemidl.h>
#include <wrl/client.h>

#include <utility>

namespace zor::platform {
namespace {

using Microsoft::WRL::ComPtr;

/// ERROR_MOD_NOT_FOUND as a COM result.
constexpr auto kModuleNotFound = static_cast<ComResult>(0x8007007E);

/// One of the system's libraries, loaded while this object exists.
class SystemLibrary {
 public:
  explicit SystemLibrary(const wchar_t* name) noexcept
      : module_(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}
  SystemLibrary(const SystemLibrary&) = delete;
  SystemLibrary& operator=(const SystemLibrary&) = delete;
  ~SystemLibrary() {
    if (module_ != nullptr) FreeLibrary(module_);
  }

  /// Null when there is no such function.
  template <typename Function>
  [[nodiscard]] Function Find(const char* name) const noexcept {
    if (module_ == nullptr) return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
  }

 private:
  HMODULE module_;
};

/// What the query calls of COM. Found when there is a query, not when this library is loaded: COM
/// brings a dozen libraries along, and loading this one would take ten times as long in a process
/// that has no other use for them. Where the caller has initialised COM, as it must, they are
/// there.
class Com {
 public:
  /// Whether all of it was found; nothing else may be called if not.
  [[nodiscard]] bool IsThere() const noexcept {
    return initialize_security != nullptr && create_instance != nullptr &&
           set_proxy_blanket != nullptr && allocate_string != nullptr && free_string != nullptr &&
           clear_variant != nullptr;
  }

 private:
  SystemLibrary ole_{L"ole32.dll"};
  SystemLibrary automation_{L"oleaut32.dll"};

 public:
  decltype(&CoInitializeSecurity) initialize_security =
      ole_.Find<decltype(&CoInitializeSecurity)>("CoInitializeSecurity");
  decltype(&CoCreateInstance) create_instance =
      ole_.Find<decltype(&CoCreateInstance)>("CoCreateInstance");
  decltype(&CoSetProxyBlanket) set_proxy_blanket =
      ole_.Find<decltype(&CoSetProxyBlanket)>("CoSetProxyBlanket");
  decltype(&SysAllocString) allocate_string =
      automation_.Find<decltype(&SysAllocString)>("SysAllocString");
  decltype(&SysFreeString) free_string =
      automation_.Find<decltype(&SysFreeString)>("SysFreeString");
  decltype(&VariantClear) clear_variant = automation_.Find<decltype(&VariantClear)>("VariantClear");
};

class SystemString {
 public:
  SystemString(const Com& com, const wchar_t* text) noexcept
      : com_(com), text_(com.allocate_string(text)) {}
  SystemString(const SystemString&) = delete;
  SystemString& operator=(const SystemString&) = delete;
  ~SystemString() { com_.free_string(text_); }

  [[nodiscard]] BSTR get() const noexcept { return text_; }

 private:
  const Com& com_;
  BSTR text_;
};

class Variant {
 public:
  explicit Variant(const Com& com) noexcept : com_(com) {}
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { Clear(); }

  void Swap(Variant& other) noexcept { std::swap(value_, other.value_); }
  void Clear() noexcept {
    if (value_.vt != VT_EMPTY) com_.clear_variant(&value_);
  }
  [[nodiscard]] VARIANT* receive() noexcept { return &value_; }
  [[nodiscard]] const VARIANT& get() const noexcept { return value_; }

 private:
  const Com& com_;
  VARIANT value_{};  // VT_EMPTY is zero
};

}  // namespace

struct DriverQuery::Objects {
  Com com;  ///< first, so that it outlives the others
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  ComPtr<IEnumWbemClassObject> rows;
  ComPtr<IWbemClassObject> row;
  Variant value{com};
};

DriverQuery::DriverQuery() : objects_(std::make_unique<Objects>()) {}

DriverQuery::~DriverQuery() = default;

ComResult DriverQuery::InitializeSecurity() noexcept {
  if (!objects_->com.IsThere()) return kModuleNotFound;
  return objects_->com.initialize_security(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                           RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE,
                                           nullptr);
}

ComResult DriverQuery::CreateLocator() noexcept {
  return objects_->com.create_instance(
      CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
      reinterpret_cast<void**>(objects_->locator.ReleaseAndGetAddressOf()));
}

ComResult DriverQuery::ConnectServer(const wchar_t* name_space) noexcept {
  const SystemString name(objects_->com, name_space);
  if (name.get() == nullptr) return E_OUTOFMEMORY;
  return objects_->locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr,
                                          nullptr, objects_->services.ReleaseAndGetAddressOf());
}

ComResult DriverQuery::SetProxyBlanket() noexcept {
  return objects_->com.set_proxy_blanket(objects_->services.Get(), RPC_C_AUTHN_WINNT,
                                         RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                         RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

ComResult DriverQuery::ExecQuery(const wchar_t* language, const wchar_t* query) noexcept {
  const SystemString language_text(objects_->com, language);
  const SystemString query_text(objects_->com, query);
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
  Variant fresh(objects_->com);
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
