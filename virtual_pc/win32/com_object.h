// Reference counting of the component objects.
#pragma once

#include <objbase.h>

namespace ostria::virtual_pc {

/// Counts the users of a component object, and ends it with the last. Made with one user.
template <typename Interface>
class ComObject : public Interface {
 public:
  virtual ~ComObject() = default;
  ComObject() = default;
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*id*/, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++users_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --users_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 private:
  ULONG users_ = 1;
};

}  // namespace ostria::virtual_pc
