// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/text/String.h"
#include "Rondel/testing/Places.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

HxArray strings(std::initializer_list<HxAny> objects) { return HxArray::arrayWithObjects(objects); }
HxString fromStd(const std::string& bytes) { return HxString(std::string_view(bytes)); }

// What the textual operations make of a path.
struct Path {
  std::u16string_view path;
  HxString parent;
  HxString last;
  HxString extension;
  HxString withoutExtension;
};

const Path kPaths[] = {
    {u"", ""_hx, ""_hx, ""_hx, ""_hx},
    {u"/", "/"_hx, "/"_hx, ""_hx, "/"_hx},
    {u"//", "/"_hx, "/"_hx, ""_hx, "/"_hx},
    {u"a", ""_hx, "a"_hx, ""_hx, "a"_hx},
    {u"/a", "/"_hx, "a"_hx, ""_hx, "/a"_hx},
    {u"a/", ""_hx, "a"_hx, ""_hx, "a"_hx},
    {u"/a/b", "/a"_hx, "b"_hx, ""_hx, "/a/b"_hx},
    {u"/a/b///", "/a"_hx, "b"_hx, ""_hx, "/a/b"_hx},
    {u"/a//b", "/a"_hx, "b"_hx, ""_hx, "/a//b"_hx},
    {u"a/b.c", "a"_hx, "b.c"_hx, "c"_hx, "a/b"_hx},
    {u"a/b.c/", "a"_hx, "b.c"_hx, "c"_hx, "a/b"_hx},
    {u"a.d/b", "a.d"_hx, "b"_hx, ""_hx, "a.d/b"_hx},
    {u"x.tar.gz", ""_hx, "x.tar.gz"_hx, "gz"_hx, "x.tar"_hx},
    {u".profile", ""_hx, ".profile"_hx, ""_hx, ".profile"_hx},
    {u"/h/.a.b", "/h"_hx, ".a.b"_hx, "b"_hx, "/h/.a"_hx},
    {u"a.", ""_hx, "a."_hx, ""_hx, "a."_hx},
    {u"..", ""_hx, ".."_hx, ""_hx, ".."_hx},
    {u"a/..", "a"_hx, ".."_hx, ""_hx, "a/.."_hx},
    {u"/r/\u00c9t\u00e9.lproj", "/r"_hx, "\u00c9t\u00e9.lproj"_hx, "lproj"_hx,
     "/r/\u00c9t\u00e9"_hx},
    {u"English.lproj", ""_hx, "English.lproj"_hx, "lproj"_hx, "English"_hx},
};

TEST(StringPath, PartsOfAPath) {
  for (const Path& row : kPaths) {
    for (const TextForm form : kTextForms) {
      const HxString path = makeText(form, row.path);
      SCOPED_TRACE(path.toStdString() + " " + nameOf(form));
      EXPECT_EQ(path.stringByDeletingLastPathComponent(), row.parent);
      EXPECT_EQ(path.lastPathComponent(), row.last);
      EXPECT_EQ(path.pathExtension(), row.extension);
      EXPECT_EQ(path.stringByDeletingPathExtension(), row.withoutExtension);
    }
  }
}

TEST(StringPath, AppendsAComponentWithOneSeparator) {
  struct Case {
    HxString path;
    HxString component;
    HxString result;
  };
  const Case cases[] = {
      {"/a"_hx, "b"_hx, "/a/b"_hx},
      {"/a/"_hx, "b"_hx, "/a/b"_hx},
      {"/a//"_hx, "//b"_hx, "/a/b"_hx},
      {"/a"_hx, "b/c"_hx, "/a/b/c"_hx},
      {"/"_hx, "b"_hx, "/b"_hx},
      {"/"_hx, "/b"_hx, "/b"_hx},
      {""_hx, "b"_hx, "b"_hx},
      {""_hx, "/b/"_hx, "/b"_hx},
      {"a"_hx, "b/"_hx, "a/b"_hx},
      {"/a"_hx, ""_hx, "/a"_hx},
      {"/a/"_hx, ""_hx, "/a"_hx},
      {"/a"_hx, "/"_hx, "/a"_hx},
      {"/"_hx, "/"_hx, "/"_hx},
      {""_hx, "/"_hx, "/"_hx},
      {""_hx, ""_hx, ""_hx},
      {"/a"_hx, nullptr, "/a"_hx},
      {""_hx, nullptr, ""_hx},
      {"/a"_hx, "\u00e9"_hx, "/a/\u00e9"_hx},
      {"a"_hx, ".."_hx, "a/.."_hx},
  };
  for (const Case& row : cases) {
    for (const TextForm form : kTextForms) {
      const HxString path = makeText(form, unitsOf(row.path));
      const HxString component =
          row.component ? makeText(form, unitsOf(row.component)) : HxString();
      EXPECT_EQ(path.stringByAppendingPathComponent(component), row.result)
          << path.toStdString() << " + " << component.toStdString() << ' ' << nameOf(form);
    }
  }
}

TEST(StringPath, SplitsIntoComponents) {
  for (const TextForm form : kTextForms) {
    const auto split = [&](std::u16string_view path) {
      return makeText(form, path).pathComponents();
    };
    EXPECT_EQ(split(u"/a/b"), strings({"/"_hx, "a"_hx, "b"_hx})) << nameOf(form);
    EXPECT_EQ(split(u"a//b"), strings({"a"_hx, "b"_hx}));
    EXPECT_EQ(split(u"//a"), strings({"/"_hx, "a"_hx}));
    EXPECT_EQ(split(u"/a/"), strings({"/"_hx, "a"_hx, "/"_hx}));
    EXPECT_EQ(split(u"a//"), strings({"a"_hx, "/"_hx}));
    EXPECT_EQ(split(u"/"), strings({"/"_hx}));
    EXPECT_EQ(split(u"//"), strings({"/"_hx}));
    EXPECT_EQ(split(u"./../a"), strings({"."_hx, ".."_hx, "a"_hx}));
    EXPECT_EQ(split(u"/\u00e9/b"), strings({"/"_hx, "\u00e9"_hx, "b"_hx}));
    EXPECT_EQ(split(u"").count(), 0u);
  }
}

TEST(StringPath, JoinsComponents) {
  EXPECT_EQ(HxString::pathWithComponents(strings({"/"_hx, "a"_hx, "b"_hx})), "/a/b"_hx);
  EXPECT_EQ(HxString::pathWithComponents(strings({"a"_hx, "b"_hx, "/"_hx})), "a/b"_hx);
  EXPECT_EQ(HxString::pathWithComponents(strings({"/"_hx})), "/"_hx);
  EXPECT_EQ(HxString::pathWithComponents(strings({""_hx, "a"_hx, ""_hx, "b"_hx})), "a/b"_hx);
  EXPECT_EQ(HxString::pathWithComponents(strings({"a"_hx, HxArray::array(), "b"_hx})), "a/b"_hx);
  EXPECT_EQ(HxString::pathWithComponents(HxArray::array()), ""_hx);
}

TEST(StringPath, ComponentsAreJoinedAsIfAppendedOneAfterTheOther) {
  const HxString parts[] = {"/"_hx,  "//"_hx,       "a"_hx, "/a"_hx,
                            "a/"_hx, "//a//b//"_hx, ""_hx,  nullptr};
  for (const HxString& first : parts) {
    for (const HxString& second : parts) {
      for (const HxString& third : parts) {
        HxString path = ""_hx;
        for (const HxString& part : {first, second, third}) {
          path = path.stringByAppendingPathComponent(part);
        }
        EXPECT_EQ(HxString::pathWithComponents(strings({first, second, third})), path);
      }
    }
  }
}

// Copying the path for each of them would take 10^12 steps.
TEST(StringPath, AMillionComponentsAreJoined) {
  HxMutableArray components = HxMutableArray::array();
  for (int i = 0; i < 1000000; ++i) components.addObject("ab"_hx);
  const HxString path = HxString::pathWithComponents(components);
  EXPECT_EQ(path.length(), 2999999U);
  EXPECT_TRUE(path.stringByResolvingSymlinksInPath() == path);
  EXPECT_TRUE(path.stringByStandardizingPath() == path);
}

TEST(StringPath, AbsolutePathsBeginWithASlashOrATilde) {
  for (const TextForm form : kTextForms) {
    EXPECT_TRUE(makeText(form, u"/a").isAbsolutePath());
    EXPECT_TRUE(makeText(form, u"~").isAbsolutePath());
    EXPECT_TRUE(makeText(form, u"~me/a").isAbsolutePath());
    EXPECT_FALSE(makeText(form, u"a/b").isAbsolutePath());
    EXPECT_FALSE(makeText(form, u"").isAbsolutePath());
  }
}

// ---- Paths and the file system ----------------------------------------------------------------

TEST(StringPath, StandardizesByTextWhereNothingExists) {
  struct Case {
    HxString path;
    HxString result;
  };
  const Case cases[] = {
      {""_hx, ""_hx},
      {"/"_hx, "/"_hx},
      {"//"_hx, "/"_hx},
      {"/."_hx, "/"_hx},
      {"."_hx, "."_hx},
      {"./."_hx, "."_hx},
      {"./a/./b"_hx, "a/b"_hx},
      {"a//b/"_hx, "a/b"_hx},
      {"/no-such//b/./c/"_hx, "/no-such/b/c"_hx},
      {"/no-such/b/../c"_hx, "/no-such/c"_hx},
      {"/no-such/.."_hx, "/"_hx},
      {"/../../no-such"_hx, "/no-such"_hx},
      {"/.."_hx, "/"_hx},
      {"a/../b"_hx, "a/../b"_hx},
      {"../a"_hx, "../a"_hx},
      {"~no-such-user/a"_hx, "~no-such-user/a"_hx},
      {"a~"_hx, "a~"_hx},
      {"/no-such/\u00e9/..//x"_hx, "/no-such/x"_hx},
      {"/\u0301x/./b//"_hx, "/\u0301x/b"_hx},
      {"/\u0301x/../b"_hx, "/b"_hx},
      {"~\u0301/./a"_hx, "~\u0301/a"_hx},
  };
  for (const Case& row : cases) {
    for (const TextForm form : kTextForms) {
      EXPECT_EQ(makeText(form, unitsOf(row.path)).stringByStandardizingPath(), row.result)
          << row.path.toStdString() << ' ' << nameOf(form);
    }
  }
}

TEST(StringPath, AStandardPathIsTheSameObject) {
  const HxString path = "/no-such/a"_hx;
  EXPECT_EQ(path.stringByStandardizingPath().object(), path.object());
}

TEST(StringPath, ExpandsTheTilde) {
  const HxString home = HxString::stringWithUTF8String(std::getenv("HOME"));
  ASSERT_GT(home.length(), 0u);
  EXPECT_EQ("~"_hx.stringByStandardizingPath(), home.stringByStandardizingPath());
  EXPECT_EQ("~/no-such"_hx.stringByStandardizingPath(),
            home.stringByAppendingPathComponent("no-such"_hx).stringByStandardizingPath());
  // The separator ends the name, whatever mark comes after it.
  EXPECT_EQ("~/\u0338a"_hx.stringByStandardizingPath(),
            HxString::stringByConcatenating(home, "/\u0338a"_hx).stringByStandardizingPath());
  const passwd* user = ::getpwuid(::getuid());
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(HxString::stringByConcatenating("~"_hx, HxString::stringWithUTF8String(user->pw_name))
                .stringByStandardizingPath(),
            HxString::stringWithUTF8String(user->pw_dir).stringByStandardizingPath());
}

TEST(StringPath, TildeWithANameThatNoUserHasStays) {
  for (const HxString& path : {"~root\0x/a"_hx, "~no-such-user/a"_hx}) {
    EXPECT_EQ(path.stringByStandardizingPath(), path);
  }
}

// HOME with another value, as long as this lives.
class OtherHome {
 public:
  explicit OtherHome(const std::string& value) {
    if (const char* home = std::getenv("HOME")) _kept = home;
    ::setenv("HOME", value.c_str(), 1);
  }
  OtherHome(const OtherHome&) = delete;
  OtherHome& operator=(const OtherHome&) = delete;
  ~OtherHome() {
    if (_kept) ::setenv("HOME", _kept->c_str(), 1);
    if (!_kept) ::unsetenv("HOME");
  }

 private:
  std::optional<std::string> _kept;
};

TEST(StringPath, AnEmptyHomeIsNone) {
  const passwd* user = ::getpwuid(::getuid());
  ASSERT_NE(user, nullptr);
  const HxString home = HxString::stringWithUTF8String(user->pw_dir);
  const OtherHome empty("");
  EXPECT_EQ("~"_hx.stringByStandardizingPath(), home.stringByStandardizingPath());
}

// A folder with links in it.
class StringPathLinks : public testing::Test {
 protected:
  HxString path(std::string_view name) const { return fromStd(_folder.path(name)); }
  void link(std::string_view name, const std::string& target) const {
    std::filesystem::create_symlink(target, _folder.path(name));
  }
  void file(std::string_view name) const { _folder.write(name, ""); }
  const TemporaryDirectory& folder() const { return _folder; }

 private:
  TemporaryDirectory _folder;
};

TEST_F(StringPathLinks, AreReplacedByWhatTheyPointTo) {
  file("real/deep/x");
  link("relative", "real/deep");
  link("absolute", folder().path("real"));
  link("chain", "absolute/deep");
  EXPECT_EQ(path("relative/x").stringByResolvingSymlinksInPath(), path("real/deep/x"));
  EXPECT_EQ(path("absolute/deep/x").stringByResolvingSymlinksInPath(), path("real/deep/x"));
  EXPECT_EQ(path("chain/x").stringByResolvingSymlinksInPath(), path("real/deep/x"));
  EXPECT_EQ(path("chain/..//./deep/x/").stringByResolvingSymlinksInPath(), path("real/deep/x"));
  EXPECT_EQ(path("real/deep").stringByResolvingSymlinksInPath(), path("real/deep"));
}

TEST_F(StringPathLinks, AreReplacedAfterTheTilde) {
  file("real/x");
  link("link", "real");
  const OtherHome home(folder().path("."));
  EXPECT_EQ("~/link/x"_hx.stringByResolvingSymlinksInPath(), path("real/x"));
}

TEST_F(StringPathLinks, TheParentOfALinkedFolderIsThatOfTheRealOne) {
  file("real/deep/x");
  file("real/y");
  link("short", "real/deep");
  EXPECT_EQ(path("short/../y").stringByStandardizingPath(), path("real/y"));
  EXPECT_EQ(path("short/./x").stringByStandardizingPath(), path("short/x"));
}

TEST_F(StringPathLinks, APathThatCannotBeResolvedStaysAsItIs) {
  link("self", "self");
  link("dangling", "no-such");
  file("plain");
  for (const char* name : {"self", "self/x", "dangling", "dangling/x", "no-such/", "plain/x"}) {
    const HxString unresolved = path(name);
    EXPECT_EQ(unresolved.stringByResolvingSymlinksInPath().object(), unresolved.object()) << name;
  }
  EXPECT_EQ("a\0b"_hx.stringByResolvingSymlinksInPath(), "a\0b"_hx);
  EXPECT_EQ(""_hx.stringByResolvingSymlinksInPath(), ""_hx);
}

TEST_F(StringPathLinks, NamesAreTakenAsTheyStand) {
  file("caf\xC3\xA9/x");
  link("\xE6\x97\xA5", "caf\xC3\xA9");
  EXPECT_EQ(path("\xE6\x97\xA5/x").stringByResolvingSymlinksInPath(), path("caf\xC3\xA9/x"));
}

TEST_F(StringPathLinks, ARelativePathStaysRelative) {
  file("real/x");
  link("link", "real");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder().path());
  EXPECT_EQ("link/x"_hx.stringByResolvingSymlinksInPath(), "real/x"_hx);
  EXPECT_EQ("link/.."_hx.stringByResolvingSymlinksInPath(), "."_hx);
  EXPECT_EQ("link/../.."_hx.stringByResolvingSymlinksInPath(), ".."_hx);
  EXPECT_EQ("../.."_hx.stringByResolvingSymlinksInPath(), "../.."_hx);
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace rondel::test
