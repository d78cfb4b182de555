// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "reference/Kt_HelpExample.h"

// What is said of one dataset method and its aliases, in one place for help, completion and the
// reference. The call forms are the help texts of the method table.
struct Kt_MethodDoc {
  const char16_t* family;
  const char16_t* name;        // as in the table
  const char16_t* does;        // what it does and gives
  const char16_t* odd;         // what it gives for missing, odd and outside arguments
  Kt_HelpExample examples[3];  // over the sample datasets: the plain case, an edge, and a use
};

// What is said of properties and row keywords; several names may mean the same.
struct Kt_MemberDoc {
  const char16_t* names;  // "rowcount, count"
  const char16_t* does;
  Kt_HelpExample example;
};

// A dataset that the examples work on; `csv` is its content for LoadCSV.
struct Kt_SampleDataset {
  const char16_t* id;
  const char16_t* csv;
};

// The entry of a method by name, aliases too, in any case; null when there is no such method.
KT_SCRIPT_API const Kt_MethodDoc* GetMethodDoc(const char16_t* name);
// The entry that has this name, in any case; null when there is none.
KT_SCRIPT_API const Kt_MemberDoc* GetDatasetPropDoc(const char16_t* name);
KT_SCRIPT_API const Kt_MemberDoc* GetRowKeywordDoc(const char16_t* name);

KT_SCRIPT_API std::span<const Kt_MethodDoc> GetMethodDocs();
KT_SCRIPT_API std::span<const Kt_MemberDoc> GetDatasetPropDocs();
KT_SCRIPT_API std::span<const Kt_MemberDoc> GetRowKeywordDocs();
// The datasets that every example finds anew.
KT_SCRIPT_API std::span<const Kt_SampleDataset> GetSampleDatasets();

// The whole reference in Markdown, as docs/methods.md has it.
KT_SCRIPT_API Kt_WString MakeMethodReference();
