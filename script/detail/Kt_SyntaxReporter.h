// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Codes.h"
#include "script/Kt_ScriptOutline.h"
#include "script/Kt_SyntaxErrors.h"
#include "script/detail/Kt_SourceText.h"

namespace kt::detail {

// A part of the source to point at.
struct Place {
  kt_long offset = 0;
  kt_long length = 1;
};

struct Fault {
  kt_long code;
  kt_long line;  // as the text line shows it, from 0
  Place place;
  const Kt_WString* near_text = nullptr;
  const Kt_WString* function_name = nullptr;
  // Code of the expression validator, when that found the fault.
  kt_long expression_code = 0;
  // The code of the record where the text line must show another one; 0: the same.
  kt_long record_code = 0;
};

// Where the parser leaves what it finds: a text line for each fault, and a record with the place
// for hosts that gave a Kt_SyntaxErrorList. Borrows everything.
class SyntaxReporter {
 public:
  // `errors` may be null. `base_line` is the number of the first line of `source`.
  SyntaxReporter(Kt_WStrList* errors, const Kt_WString& source_name, std::u16string_view source,
                 kt_long base_line)
      : errors_(errors),
        places_(dynamic_cast<Kt_SyntaxErrorList*>(errors)),
        outline_(places_ != nullptr ? places_->GetOutline() : nullptr),
        source_name_(source_name),
        source_(source),
        lines_(source, base_line) {}

  bool WantsPlaces() const { return places_ != nullptr; }
  bool WantsWarnings() const { return places_ != nullptr && places_->WantsWarnings(); }
  // Null when none is wanted.
  Kt_ScriptOutline* GetOutline() const { return outline_; }
  const LineTable& Lines() const { return lines_; }

  KT_COLD void Report(const Fault& fault);
  // `function_name` may be null. Only a list that wants warnings gets them.
  KT_COLD void Warn(Kt_ScriptWarning warning, Place place, const Kt_WString* function_name,
                    const Kt_WString& detail = {});
  // The warnings for a well-formed or faulty expression.
  KT_COLD void WarnOfExpr(const Slice& expression, const Kt_WString* function_name);

 private:
  Kt_SyntaxError RecordAt(Place place, const Kt_WString* function_name) const;
  void AddWarning(const Kt_WString& name, const Kt_WString& text, Place place,
                  const Kt_WString* function_name, const Kt_WString& detail = {});

  Kt_WStrList* errors_;
  Kt_SyntaxErrorList* places_;  // the same list; null: no records wanted
  Kt_ScriptOutline* outline_;
  const Kt_WString& source_name_;
  std::u16string_view source_;
  LineTable lines_;
};

// A node of the outline; what is added while it lives is in it. Does nothing when no outline is
// wanted.
class OutlineMark {
 public:
  using Kind = Kt_OutlineNode::Kind;

  OutlineMark(SyntaxReporter& reporter, Kind kind, const Slice& whole, const Slice& text = {},
              std::int16_t code = 0)
      : outline_(reporter.GetOutline()) {
    if (KT_UNLIKELY(outline_ != nullptr)) Open(kind, whole, text, code);
  }
  OutlineMark(const OutlineMark&) = delete;
  OutlineMark& operator=(const OutlineMark&) = delete;
  ~OutlineMark() {
    if (KT_UNLIKELY(outline_ != nullptr)) outline_->nodes[node_].next = outline_->nodes.size();
  }

  // The node ends where this part of the source does.
  void SetEnd(const Slice& last) {
    if (KT_UNLIKELY(outline_ != nullptr)) outline_->nodes[node_].end = last.SourceOf(last.length);
  }

 private:
  KT_COLD void Open(Kind kind, const Slice& whole, const Slice& text, std::int16_t code);

  Kt_ScriptOutline* outline_;
  std::size_t node_ = 0;
};

// A slice without comments, trimmed. Text without comments is not copied.
class CleanText {
 public:
  // Warns, through `reporter`, of characters that went with a comment.
  CleanText(const Slice& raw, SyntaxReporter& reporter, const Kt_WString* function_name);
  CleanText(const CleanText&) = delete;
  CleanText& operator=(const CleanText&) = delete;

  const Slice& Get() const { return slice_; }

 private:
  KT_NOINLINE void Copy(const Slice& raw, SyntaxReporter& reporter,
                        const Kt_WString* function_name);

  Slice slice_;
  Kt_WString copy_;
  std::vector<kt_long> sources_;
};

}  // namespace kt::detail
