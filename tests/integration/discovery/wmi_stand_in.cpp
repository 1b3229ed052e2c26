#include "tests/integration/discovery/wmi_stand_in.h"

#include <wrl/client.h>

#include <atomic>
#include <sstream>
#include <system_error>

#include "tests/integration/discovery/wmi_unused.h"

namespace zor::testing {
namespace {

using Microsoft::WRL::ComPtr;

/// The life of an object, which begins with one reference.
template <typename Object, typename Interface, typename Base = Interface>
class Counted : public Base {
 public:
  explicit Counted(WmiStandIn& stand_in) : stand_in_(stand_in) { ++stand_in_.live_objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    *object = nullptr;
    if (id != __uuidof(IUnknown) && id != __uuidof(Interface)) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete static_cast<Object*>(this);
    return left;
  }

 protected:
  ~Counted() { --stand_in_.live_objects; }

  [[nodiscard]] WmiStandIn& stand_in() const noexcept { return stand_in_; }

  /// Hands `made` out, unless the step is to fail.
  template <typename Made, typename Out>
  static HRESULT HandOut(HRESULT result, Made* made, Out** out) {
    *out = SUCCEEDED(result) ? made : nullptr;
    if (FAILED(result)) made->Release();
    return result;
  }

 private:
  WmiStandIn& stand_in_;
  std::atomic<ULONG> references_{1};
};

class Row final : public Counted<Row, IWbemClassObject, UnusedWbemClassObject> {
 public:
  Row(WmiStandIn& stand_in, const WmiRow& properties)
      : Counted(stand_in), properties_(properties) {}
  ~Row() = default;

  STDMETHODIMP Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*) override {
    stand_in().calls.push_back(std::wstring(L"Get ") + name);
    const auto property = properties_.find(name);
    if (property == properties_.end()) return kWmiNotFound;
    const auto& [text, result, stores] = property->second;
    if (!stores) return result;
    // As the system does it: what the variant held is not looked at.
    VariantInit(value);
    value->vt = text ? VT_BSTR : VT_I4;
    if (text) {
      value->bstrVal = SysAllocStringLen(text->c_str(), static_cast<UINT>(text->size()));
    } else {
      value->lVal = 5;
    }
    return result;
  }

 private:
  const WmiRow properties_;
};

class Rows final : public Counted<Rows, IEnumWbemClassObject, UnusedEnumWbemClassObject> {
 public:
  using Counted::Counted;
  ~Rows() = default;

  STDMETHODIMP Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                    ULONG* returned) override {
    std::wostringstream call;
    call << L"Next " << timeout << L" " << count;
    stand_in().calls.push_back(call.str());
    *objects = nullptr;
    *returned = 0;
    if (next_ == stand_in().rows.size()) return WBEM_S_FALSE;
    *returned = 1;
    *objects = new Row(stand_in(), stand_in().rows[next_++]);
    return stand_in().next;
  }

 private:
  std::size_t next_ = 0;
};

class Services final : public Counted<Services, IWbemServices, UnusedWbemServices>,
                       public IClientSecurity {
 public:
  using Counted::Counted;
  ~Services() = default;

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IClientSecurity)) return Counted::QueryInterface(id, object);
    AddRef();
    *object = static_cast<IClientSecurity*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return Counted::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return Counted::Release(); }

  STDMETHODIMP ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                         IEnumWbemClassObject** rows) override {
    std::wostringstream call;
    call << L"ExecQuery " << language << L", " << query << L", " << flags
         << (context == nullptr ? L"" : L", a context");
    stand_in().calls.push_back(call.str());
    stand_in().while_querying();
    return HandOut(stand_in().exec_query, new Rows(stand_in()), rows);
  }

  STDMETHODIMP QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**,
                            DWORD*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP SetBlanket(IUnknown*, DWORD authentication, DWORD authorization, OLECHAR* principal,
                          DWORD level, DWORD impersonation, void* identity,
                          DWORD capabilities) override {
    std::wostringstream call;
    call << L"SetBlanket " << authentication << L" " << authorization << L" "
         << (principal == nullptr ? L"none" : principal) << L" " << level << L" " << impersonation
         << L" " << (identity == nullptr ? L"none" : L"an identity") << L" " << capabilities;
    stand_in().calls.push_back(call.str());
    return stand_in().set_blanket;
  }
  STDMETHODIMP CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }
};

class Locator final : public Counted<Locator, IWbemLocator> {
 public:
  using Counted::Counted;
  ~Locator() = default;

  STDMETHODIMP ConnectServer(const BSTR name_space, const BSTR user, const BSTR password,
                             const BSTR locale, LONG flags, const BSTR authority,
                             IWbemContext* context, IWbemServices** services) override {
    const bool plain = user == nullptr && password == nullptr && locale == nullptr && flags == 0 &&
                       authority == nullptr && context == nullptr;
    stand_in().calls.push_back(std::wstring(L"ConnectServer ") + name_space +
                               (plain ? L"" : L" and more"));
    return HandOut(stand_in().connect_server, new Services(stand_in()), services);
  }
};

class Factory final : public Counted<Factory, IClassFactory> {
 public:
  using Counted::Counted;
  ~Factory() = default;

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    *object = nullptr;
    stand_in().calls.emplace_back(L"CreateInstance");
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    if (FAILED(stand_in().create_locator)) return stand_in().create_locator;
    auto* locator = new Locator(stand_in());
    const HRESULT result = locator->QueryInterface(id, object);
    locator->Release();
    return SUCCEEDED(result) ? stand_in().create_locator : result;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

}  // namespace

WmiStandIn::WmiStandIn() {
  ComPtr<Factory> factory;
  *factory.GetAddressOf() = new Factory(*this);
  const HRESULT result = CoRegisterClassObject(
      CLSID_WbemLocator, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &registration_);
  if (FAILED(result)) throw std::system_error(result, std::system_category(), "the stand-in");
  // The factory lives as long as the registration.
  live_objects = 0;
}

WmiStandIn::~WmiStandIn() { CoRevokeClassObject(registration_); }

}  // namespace zor::testing
