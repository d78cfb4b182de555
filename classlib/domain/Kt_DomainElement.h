// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <utility>

#include "classlib/base/Kt_Counted.h"
#include "classlib/domain/Kt_DomainElemList.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/text/Kt_WString.h"

class Kt_DomainElement;

namespace kt::detail {

// Tells handles whether an element still lives. Made when the first handle is taken.
struct DomainElementLife : Kt_Counted {
  Kt_DomainElement* element = nullptr;  // null once the element has gone
};

}  // namespace kt::detail

// One description of a domain: how a value is called, shown and bounded. What the attributes mean
// for a value is the host's; the element keeps them.
//
// Belongs to the list that made it. Threads: const members may run in parallel; a change needs sole
// access.
class KT_CLASS_API Kt_DomainElement {
 public:
  Kt_DomainElement(const Kt_DomainElement&) = delete;
  Kt_DomainElement& operator=(const Kt_DomainElement&) = delete;
  ~Kt_DomainElement();

  const Kt_WString& GetID() const { return id_; }
  const Kt_WString& GetText() const { return text_; }
  const Kt_WString& GetFormat() const { return format_; }
  Kt_ColumnType GetType() const { return type_; }
  std::u16string_view GetTypeStr() const { return kt_columntypenameW(type_); }
  int GetVisible() const { return visible_; }
  int GetEnable() const { return enable_; }
  int GetLimit() const { return limit_; }      // the greatest length of a value; 0: none
  int GetDecimal() const { return decimal_; }  // digits after the point
  Kt_DomainElemList& GetChildren() { return children_; }
  const Kt_DomainElemList& GetChildren() const { return children_; }

  // False, and nothing changed, for the id of another element of the list or the empty id.
  bool SetID(const Kt_WString& id);
  void SetText(const Kt_WString& text) { text_ = text; }
  void SetFormat(const Kt_WString& format) { format_ = format; }
  void SetType(Kt_ColumnType type) { type_ = type; }
  // The name of a column type in any case; false, and nothing changed, for any other.
  bool SetTypeStr(std::u16string_view name) { return kt_findcolumntypeW(name, type_); }
  void SetVisible(int visible) { visible_ = visible; }
  void SetEnable(int enable) { enable_ = enable; }
  // False, and nothing changed, for negative numbers.
  bool SetLimit(int limit) { return SetSize(limit, limit_); }
  bool SetDecimal(int decimal) { return SetSize(decimal, decimal_); }

 private:
  friend class Kt_DomainElemList;
  friend class Kt_DomainElementHandle;

  Kt_DomainElement(Kt_DomainElemList& owner, kt_long index, const Kt_WString& id)
      : owner_(&owner), index_(index), id_(id) {}
  static bool SetSize(int value, int& size) {
    if (value < 0) return false;
    size = value;
    return true;
  }

  Kt_DomainElemList* owner_;
  kt_long index_;  // in the owner
  Kt_WString id_;
  Kt_WString text_;
  Kt_WString format_;
  Kt_ColumnType type_ = Kt_ColumnType::kString;
  int visible_ = 1;
  int enable_ = 1;
  int limit_ = 0;
  int decimal_ = 0;
  Kt_DomainElemList children_;
  kt::detail::DomainElementLife* life_ = nullptr;
};

// A pointer to an element that becomes null when the element has gone.
// Owns nothing. Threads: those of the element.
class KT_CLASS_API Kt_DomainElementHandle {
 public:
  Kt_DomainElementHandle() = default;
  explicit Kt_DomainElementHandle(Kt_DomainElement* element);  // null: none
  Kt_DomainElementHandle(const Kt_DomainElementHandle& other) : life_(other.life_) {
    if (life_ != nullptr) life_->AddRef();
  }
  Kt_DomainElementHandle& operator=(Kt_DomainElementHandle other) noexcept {
    std::swap(life_, other.life_);
    return *this;
  }
  ~Kt_DomainElementHandle() {
    if (life_ != nullptr && life_->Release()) delete life_;
  }

  Kt_DomainElement* Get() const { return life_ != nullptr ? life_->element : nullptr; }

 private:
  kt::detail::DomainElementLife* life_ = nullptr;
};
