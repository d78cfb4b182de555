// SPDX-License-Identifier: MIT
#include "connect/Kt_Xlsx.h"

#include "classlib/base/Kt_Codes.h"

bool kt::IsXlsx(std::string_view bytes) { return bytes.starts_with("PK\x03\x04"); }

#if !defined(KT_XLSX_BUILT)

namespace {
constexpr const char* kNotBuilt = "this build has no spreadsheets";
}  // namespace

kt_long kt::LoadXlsx(Kt_Dataset&, std::string_view, const Kt_XlsxOptions&, Kt_LoadReport& report) {
  report = {};
  report.error = Kt_WString::FromUtf8(kNotBuilt);
  return kFailed;
}

bool kt::SaveXlsx(const Kt_XlsxTable&, std::string& bytes, std::string& error) {
  bytes.clear();
  error = kNotBuilt;
  return false;
}

#endif
