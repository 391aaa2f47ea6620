// SPDX-License-Identifier: MIT

// Handles that refer to an object of another kind. Each check is told to a sink that returns, and
// then the argument counts as nil.

#include <gtest/gtest.h>

#include <string>

#include "Rondel/additions/CommandLine.h"
#include "Rondel/additions/TextDecoding.h"
#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/FailureRecorder.h"

namespace rondel {
namespace {

template <class Handle>
Handle numberAs() {
  return Handle(HxAny::Unchecked{}, HxNumber::numberWithInt(42));
}

struct Row {
  const char* name;
  HxAny (*call)();
  HxAny expected;
};

HxAny extract() {
  return arrayByExtractingCommandLineArgumentsHavingPrefix(
      HxArray::arrayWithObjects({"-Ia"_hx, "-I"_hx, "b"_hx}), numberAs<HxString>());
}
HxAny readFile() { return initWithContentsOfFile(numberAs<HxString>(), 0, nullptr); }
HxAny writeFile() {
  return HxNumber::numberWithBool(
      writeUsingFileSystemEncodingToFile("text"_hx, numberAs<HxString>(), false));
}
HxAny writeFileAtomically() {
  return HxNumber::numberWithBool(
      writeUsingFileSystemEncodingToFile("text"_hx, numberAs<HxString>(), true));
}
HxAny expand() {
  return MO_stringByExpandingVariables("a$(B)c$D"_hx, numberAs<HxDictionary>(),
                                       MoExpansionRescanExpansions);
}

const Row kRows[] = {
    {"extract", extract, HxArray::array()},
    {"readFile", readFile, nullptr},
    {"writeFile", writeFile, HxNumber::numberWithBool(false)},
    {"writeFileAtomically", writeFileAtomically, HxNumber::numberWithBool(false)},
    {"expand", expand, "ac"_hx},
};

class ArgumentsOfTheWrongKind : public testing::TestWithParam<Row> {};

TEST_P(ArgumentsOfTheWrongKind, FailOneCheckAndCountAsNil) {
  const test::FailureRecorder failures;
  const HxAny result = GetParam().call();
  EXPECT_EQ(failures.failures().size(), 1U);
  EXPECT_EQ(result, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Additions, ArgumentsOfTheWrongKind, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace rondel
