#pragma once

#include <windows.h>
// Needs the types of the header above.
#include <oleauto.h>

#include <string>

namespace ostria::storage {

/// Counts as one user of a component object, or of none.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ~ComPointer() { reset(); }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ComPointer(ComPointer&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  ComPointer& operator=(ComPointer&& other) noexcept {
    if (this != &other) {
      reset();
      object_ = other.object_;
      other.object_ = nullptr;
    }
    return *this;
  }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  /// Empty, ready to take an object that an operation gives out.
  Interface** put() {
    reset();
    return &object_;
  }

 private:
  void reset() {
    if (object_ != nullptr) {
      object_->Release();
    }
    object_ = nullptr;
  }

  Interface* object_ = nullptr;
};

/// A counted string. Null when memory ran out, which the operations that take it refuse.
class ComText {
 public:
  explicit ComText(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
  ~ComText() { SysFreeString(text_); }
  ComText(const ComText&) = delete;
  ComText& operator=(const ComText&) = delete;

  BSTR get() const { return text_; }

 private:
  BSTR text_;
};

/// A value of any type, cleared at its end.
class ComValue {
 public:
  ComValue() { VariantInit(&value_); }
  ~ComValue() { VariantClear(&value_); }
  ComValue(const ComValue&) = delete;
  ComValue& operator=(const ComValue&) = delete;

  static void setText(ComValue& value, const std::wstring& text) {
    VariantClear(&value.value_);
    value.value_.bstrVal = SysAllocString(text.c_str());
    value.value_.vt = VT_BSTR;
  }
  VARIANT& operator*() { return value_; }
  VARIANT* get() { return &value_; }

 private:
  VARIANT value_;
};

/// Component objects in the calling thread, for the life of this object. What was made meanwhile
/// is released before.
class ComApartment {
 public:
  ComApartment() = default;
  ~ComApartment() {
    if (started_) {
      CoUninitialize();
    }
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  /// @return as `CoInitializeEx`; a thread that has them in another model is no failure
  HRESULT start() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    started_ = SUCCEEDED(result);
    return result;
  }

 private:
  bool started_ = false;
};

}  // namespace ostria::storage
