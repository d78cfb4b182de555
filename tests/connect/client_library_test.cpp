// SPDX-License-Identifier: MIT
//
// Libraries that are loaded when they are first needed.
#include <gtest/gtest.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace {

using kt::detail::ClientLibrary;

double (*cosine)(double) = nullptr;
void (*absent)() = nullptr;

TEST(ClientLibrary, LoadsWhatIsThere) {
  ClientLibrary library("libm.so.6", [](ClientLibrary& from) { from.Find("cos", cosine); });
  EXPECT_EQ(cosine, nullptr);  // not before it is needed
  std::string error;
  ASSERT_TRUE(library.Load(error)) << error;
  EXPECT_EQ(cosine(0), 1);
  EXPECT_TRUE(library.Load(error));
}

TEST(ClientLibrary, SaysWhatIsNot) {
  ClientLibrary no_file("libkt-is-not-there.so.1", [](ClientLibrary&) { FAIL(); });
  ClientLibrary no_function("libm.so.6", [](ClientLibrary& from) {
    from.Find("cos", cosine);
    from.Find("kt_is_not_there", absent);
  });
  std::string error;
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_FALSE(no_file.Load(error));
    EXPECT_NE(error.find("libkt-is-not-there.so.1"), std::string::npos) << error;
    EXPECT_FALSE(no_function.Load(error));
    EXPECT_EQ(error, "libm.so.6 has no function kt_is_not_there");
  }
}

}  // namespace
