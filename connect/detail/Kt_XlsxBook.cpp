// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_XlsxBook.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_WString.h"
#include "connect/detail/Kt_XmlEvents.h"
#include "connect/detail/Kt_Zip.h"

namespace kt::detail {
namespace {

// More would be no workbook that anybody made.
constexpr std::size_t kMaxSheets = 10'000;
constexpr std::size_t kMaxStyles = 1'000'000;

std::optional<int> NumberOf(std::string_view text) {
  int number = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  return fault == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                  : std::nullopt;
}

// ---- Which part is what -----------------------------------------------------------------------

// The part that `target` means in a part of that folder ("xl/", or "").
std::string PartOf(std::string folder, std::string_view target) {
  if (target.starts_with('/')) return std::string(target.substr(1));
  while (target.starts_with("../")) {
    target.remove_prefix(3);
    if (!folder.empty()) folder.pop_back();
    folder.erase(folder.rfind('/') + 1);
  }
  return folder + std::string(target);
}

std::string FolderOf(const std::string& part) { return part.substr(0, part.rfind('/') + 1); }

struct Relation {
  std::string kind;  // the last word of its type
  std::string part;
};

class RelationReader : public XmlEvents {
 public:
  explicit RelationReader(std::string folder) : folder_(std::move(folder)) {}
  void OnStart(std::string_view name, const XmlAttributes& attributes) override {
    if (name != "Relationship" || attributes["TargetMode"] == "External") return;
    const std::string_view type = attributes["Type"];
    relations[std::string(attributes["Id"])] = {std::string(type.substr(type.rfind('/') + 1)),
                                                PartOf(folder_, attributes["Target"])};
  }
  void OnEnd(std::string_view) override {}

  std::string PartOfKind(std::string_view kind) const {
    for (const auto& [id, relation] : relations) {
      if (relation.kind == kind) return relation.part;
    }
    return {};
  }

  std::map<std::string, Relation> relations;

 private:
  std::string folder_;
};

// ---- The workbook -----------------------------------------------------------------------------

class WorkbookReader : public XmlEvents {
 public:
  WorkbookReader(XlsxBook& book, const RelationReader& relations)
      : book_(book), relations_(relations) {}
  void OnStart(std::string_view name, const XmlAttributes& attributes) override {
    // Extensions have an element of that name too, which says nothing of days.
    if (name == "workbookPr" && attributes.IsTrue("date1904")) book_.begins_1904 = true;
    if (name != "sheet") return;
    const auto found = relations_.relations.find(std::string(attributes["id"]));
    if (found == relations_.relations.end() || found->second.kind != "worksheet") return;
    if (book_.sheets.size() == kMaxSheets) {
      failure = "has more than " + std::to_string(kMaxSheets) + " sheets";
    }
    book_.sheets.push_back({std::string(attributes["name"]), found->second.part});
  }
  void OnEnd(std::string_view) override {}

 private:
  XlsxBook& book_;
  const RelationReader& relations_;
};

// ---- Styles -----------------------------------------------------------------------------------

// The formats that every workbook has: days are 14 to 17 and 22, and those of East Asian calendars.
bool IsBuiltInDate(int format) {
  return (format >= 14 && format <= 17) || format == 22 || (format >= 27 && format <= 31) ||
         format == 36 || (format >= 50 && format <= 54) || format == 57 || format == 58;
}

class StyleReader : public XmlEvents {
 public:
  explicit StyleReader(XlsxBook& book) : book_(book) {}
  void OnStart(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "numFmt") {
      if (const auto id = NumberOf(attributes["numFmtId"])) {
        own_[*id] = IsDateFormat(attributes["formatCode"]);
      }
    } else if (name == "cellXfs") {
      inside_ = true;
    } else if (name == "xf" && inside_) {
      if (book_.is_date.size() == kMaxStyles) failure = "has too many styles";
      const int format = NumberOf(attributes["numFmtId"]).value_or(0);
      const auto own = own_.find(format);
      book_.is_date.push_back(own != own_.end() ? own->second : IsBuiltInDate(format));
    }
  }
  void OnEnd(std::string_view name) override {
    if (name == "cellXfs") inside_ = false;
  }

 private:
  XlsxBook& book_;
  std::map<int, bool> own_;
  bool inside_ = false;
};

// ---- Shared texts -----------------------------------------------------------------------------

class TextReader : public XmlEvents {
 public:
  explicit TextReader(XlsxTexts& texts) : texts_(texts) {}
  void OnStart(std::string_view name, const XmlAttributes&) override {
    if (name == "si") text_.clear();
    if (name == "rPh") ++phonetic_;
    if (name == "t") inside_ = phonetic_ == 0;
  }
  void OnEnd(std::string_view name) override {
    if (name == "t") inside_ = false;
    if (name == "rPh") --phonetic_;
    if (name == "si") texts_.Add(text_);
  }
  void OnText(std::string_view text) override {
    if (inside_) text_ += text;
  }

 private:
  XlsxTexts& texts_;
  CountedBytes text_;
  bool inside_ = false;
  int phonetic_ = 0;  // how a text is read aloud, which is not part of it
};

}  // namespace

void XlsxTexts::Add(std::string_view text) {
  if (HasXlsxEscapes(text)) {
    bytes_ += WithoutXlsxEscapes(text);
  } else {
    bytes_ += text;
  }
  ends_.push_back(bytes_.size());
}

bool ReadXlsxBook(ZipArchive& archive, XlsxBook& book, std::string& error) {
  RelationReader package("");
  if (!ReadXml(archive, "_rels/.rels", package, error)) return false;
  const std::string workbook = package.PartOfKind("officeDocument");
  if (workbook.empty()) {
    error = "the archive holds no workbook";
    return false;
  }
  const std::string folder = FolderOf(workbook);
  RelationReader relations(folder);
  if (!ReadXml(archive, folder + "_rels/" + workbook.substr(folder.size()) + ".rels", relations,
               error)) {
    return false;
  }
  WorkbookReader reader(book, relations);
  if (!ReadXml(archive, workbook, reader, error)) return false;
  const std::string styles = relations.PartOfKind("styles");
  StyleReader style_reader(book);
  if (!styles.empty() && !ReadXml(archive, styles, style_reader, error)) return false;
  const std::string texts = relations.PartOfKind("sharedStrings");
  TextReader text_reader(book.texts);
  return texts.empty() || !archive.Has(texts) || ReadXml(archive, texts, text_reader, error);
}

bool IsDateFormat(std::string_view code) {
  bool has_month_or_minute = false;
  bool has_hour_or_second = false;
  for (std::size_t at = 0; at < code.size(); ++at) {
    switch (code[at]) {
      case '"': at = std::min(code.find('"', at + 1), code.size()); break;
      case '[': {  // a colour, a condition, a language, or "[h]" of a duration
        const std::size_t end = std::min(code.find(']', at), code.size());
        const char unit = at + 1 < code.size() ? code[at + 1] : ']';
        if (end - at >= 2 &&
            code.substr(at + 1, end - at - 1).find_first_not_of(unit) == std::string_view::npos) {
          has_hour_or_second |= std::string_view("hHmMsS").find(unit) != std::string_view::npos;
        }
        at = end;
        break;
      }
      case '\\':
      case '_':
      case '*': ++at; break;  // stands for, or is as wide as, the next one
      case ';': return has_month_or_minute && !has_hour_or_second;  // for what is below zero
      case 'y':
      case 'Y':
      case 'd':
      case 'D': return true;
      case 'm':
      case 'M': has_month_or_minute = true; break;
      case 'h':
      case 'H':
      case 's':
      case 'S': has_hour_or_second = true; break;
      case 'A':
      case 'a':  // "AM/PM"
        if (code.substr(at, 5) == "AM/PM" || code.substr(at, 5) == "am/pm") at += 4;
        break;
      default: break;
    }
  }
  return has_month_or_minute && !has_hour_or_second;
}

bool HasXlsxEscapes(std::string_view text) { return text.find("_x") != std::string_view::npos; }

CountedBytes WithoutXlsxEscapes(std::string_view text) {
  constexpr std::size_t kLength = 7;  // _xHHHH_
  Kt_WString units;
  ConvertUtf8(text, units);
  CountedText plain;
  const std::u16string_view view = units.View();
  for (std::size_t at = 0; at < view.size(); ++at) {
    const std::u16string_view escape = view.substr(at, kLength);
    unsigned unit = 0;
    const std::string digits =
        escape.size() == kLength ? Kt_WString(escape.substr(2, 4)).ToUtf8() : std::string();
    const char* const end = digits.data() + digits.size();
    const bool is_escape = escape.starts_with(u"_x") && escape.ends_with(u'_') &&
                           escape.size() == kLength && digits.size() == 4 &&
                           std::from_chars(digits.data(), end, unit, 16).ptr == end;
    plain += is_escape ? static_cast<char16_t>(unit) : view[at];
    if (is_escape) at += kLength - 1;
  }
  return ToUtf8Bytes(plain);
}

}  // namespace kt::detail
