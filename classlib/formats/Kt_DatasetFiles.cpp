// SPDX-License-Identifier: MIT
//
// The members of Kt_Dataset for files.
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"

kt_long Kt_Dataset::LoadCSV(std::u16string_view text, bool clear) {
  Kt_LoadReport report;
  Kt_CsvOptions options;
  options.clear = clear;
  return kt::LoadCsv(*this, text, options, report);
}

kt_long Kt_Dataset::LoadCSV(std::u16string_view text, const Kt_CsvOptions& options,
                            Kt_LoadReport& report) {
  return kt::LoadCsv(*this, text, options, report);
}

kt_long Kt_Dataset::LoadCSVBytes(std::string_view utf8, const Kt_CsvOptions& options,
                                 Kt_LoadReport& report) {
  return kt::LoadCsv(*this, utf8, options, report);
}

kt_long Kt_Dataset::SaveCSV(Kt_WString& out, std::u16string_view type, char16_t separator) const {
  Kt_CsvSaveOptions options;
  options.separator = separator;
  return SaveCSV(out, type, options);
}

kt_long Kt_Dataset::SaveCSV(Kt_WString& out, std::u16string_view type,
                            const Kt_CsvSaveOptions& options) const {
  Kt_SaveReport report;
  return kt::SaveCsv(*this, type, options, out, report);
}

kt_long Kt_Dataset::SaveCSV(Kt_WString& out, std::u16string_view type,
                            const Kt_CsvSaveOptions& options, Kt_SaveReport& report) const {
  return kt::SaveCsv(*this, type, options, out, report);
}

kt_long Kt_Dataset::LoadJson(std::string_view utf8, const Kt_JsonOptions& options,
                             Kt_LoadReport& report) {
  return kt::LoadJson(*this, utf8, options, report);
}

kt_long Kt_Dataset::SaveJson(Kt_Buffer& out, std::u16string_view type,
                             const Kt_JsonSaveOptions& options, Kt_SaveReport& report) const {
  return kt::SaveJson(*this, type, options, out, report);
}

kt_long Kt_Dataset::LoadDataXml(std::u16string_view text, bool clear) {
  Kt_LoadReport report;
  return kt::LoadXml(*this, text, clear, report);
}

kt_long Kt_Dataset::LoadDataXml(std::u16string_view text, bool clear, Kt_LoadReport& report) {
  return kt::LoadXml(*this, text, clear, report);
}

kt_long Kt_Dataset::SaveDataXml(Kt_WString& out, std::u16string_view type, bool header) const {
  Kt_SaveReport report;
  return kt::SaveXml(*this, type, header, out, report);
}

kt_long Kt_Dataset::SaveDataXml(Kt_WString& out, std::u16string_view type, bool header,
                                Kt_SaveReport& report) const {
  return kt::SaveXml(*this, type, header, out, report);
}

kt_long Kt_Dataset::LoadDataBin(std::span<const std::uint8_t> bytes, bool clear) {
  Kt_LoadReport report;
  return kt::LoadBinary(*this, bytes, clear, report);
}

kt_long Kt_Dataset::LoadDataBin(std::span<const std::uint8_t> bytes, bool clear,
                                Kt_LoadReport& report) {
  return kt::LoadBinary(*this, bytes, clear, report);
}

kt_long Kt_Dataset::Save2(Kt_Buffer& out, std::u16string_view type) const {
  Kt_SaveReport report;
  return kt::SaveBinary(*this, type, out, report);
}

kt_long Kt_Dataset::Save2(Kt_Buffer& out, std::u16string_view type, Kt_SaveReport& report) const {
  return kt::SaveBinary(*this, type, out, report);
}
