// SPDX-License-Identifier: MIT
//
// The files of the user defaults: the types they keep, systems that say no, and damage. Several
// threads and processes write them at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Rondel/core/object/Error.h"
#include "Rondel/core/values/Data.h"
#include "Rondel/core/values/Date.h"
#include "Rondel/core/values/Number.h"
#include "Rondel/testing/DefaultsFolder.h"
#include "Rondel/testing/FileFaults.h"
#include "Rondel/testing/ResourceListener.h"

namespace rondel {
namespace {

using test::contentsOf;
using test::hx;
using test::words;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using DefaultsFiles = test::DefaultsFolder;

// ---- Types

TEST_F(DefaultsFiles, EveryTypeIsThereForTheNextProcess) {
  const HxAny values[] = {
      "12"_hx,
      HxData::dataWithBytes("\x0F", 1),
      HxNumber::numberWithInt(-1),
      HxNumber::numberWithUnsignedInteger(~HxUInteger{0}),
      HxNumber::numberWithDouble(0.1),
      HxNumber::numberWithBool(true),
      HxNumber::numberWithBool(false),
      HxDate::dateWithTimeIntervalSinceReferenceDate(60),
      words({"a"_hx, HxNumber::numberWithInt(5)}),
      HxDictionary::dictionaryWithObject(HxNumber::numberWithBool(true), "b"_hx),
  };
  for (const HxAny& value : values) {
    store()->setObject(value, "key"_hx);
    const HxAny read = store()->objectForKey("key"_hx);
    EXPECT_EQ(read, value);
    EXPECT_EQ(as<HxNumber>(read).isBoolean(), as<HxNumber>(value).isBoolean());
    EXPECT_EQ(as<HxNumber>(read).isReal(), as<HxNumber>(value).isReal());
  }
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DefaultsFiles, FileIsTextUnlessATypeNeedsXML) {
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n}\n");
  defaults->setObject(HxNumber::numberWithInt(1), "b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_THAT(toolFile(), HasSubstr("<integer>1</integer>"));
  defaults->removeObjectForKey("b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n}\n");
}

TEST_F(DefaultsFiles, ChangeOfTheTypeAloneIsWritten) {
  for (const HxAny& value :
       {HxAny(HxNumber::numberWithBool(true)), HxAny("1"_hx), HxAny(HxNumber::numberWithInt(1))}) {
    store()->setObject(value, "a"_hx);
    EXPECT_EQ(as<HxNumber>(store()->objectForKey("a"_hx)).isBoolean(),
              as<HxNumber>(value).isBoolean());
    EXPECT_EQ(store()->objectForKey("a"_hx), value);
  }
}

TEST_F(DefaultsFiles, TypeThatAnotherProcessReturnsCounts) {
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject(HxNumber::numberWithInt(7), "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  store()->setObject("7"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("a"_hx), "7"_hx);
}

// What a file cannot hold stays what it is in this process.
TEST_F(DefaultsFiles, DateKeepsItsFractionsInThisProcessOnly) {
  const HxDate exact = HxDate::dateWithTimeIntervalSinceReferenceDate(60.25);
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject(exact, "a"_hx);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_EQ(defaults->objectForKey("a"_hx), exact);
  }
  EXPECT_EQ(store()->objectForKey("a"_hx), HxDate::dateWithTimeIntervalSinceReferenceDate(60));
  store()->setObject("later"_hx, "b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("a"_hx), exact);
  store()->setObject("other"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("a"_hx), "other"_hx);
}

TEST_F(DefaultsFiles, StringThatXMLDoesNotAllowIsWorthMoreThanATypeBesideIt) {
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("\x1B[1m"_hx, "escape"_hx);
  defaults->setObject(HxNumber::numberWithInt(5), "number"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("number"_hx), HxNumber::numberWithInt(5));
  EXPECT_EQ(store()->objectForKey("escape"_hx), "\x1B[1m"_hx);
  EXPECT_EQ(store()->objectForKey("number"_hx), "5"_hx);
}

// ---- A system that says no

// In each row the file keeps its old contents, and the change waits for the next time.
TEST_F(DefaultsFiles, FailureToWriteLosesNothing) {
  using test::failCall;
  using test::FileCalls;
  std::vector<test::FileFault> faults =
      test::faultsOf({"flock", "open", "fstat", "write", "fsync", "rename"});
  faults.push_back({"read", EIO, test::failFirstCall<&FileCalls::read>});
  faults.push_back({"open to read", EMFILE, +[](int e) { failCall<&FileCalls::open>(2, e); }});
  faults.push_back({"open to write", ENOSPC, +[](int e) { failCall<&FileCalls::open>(3, e); }});
  faults.push_back({"close of what was written", EIO, +[](int e) { test::failClose(2, e); }});
  for (const test::FileFault& fault : faults) {
    const std::string path = writeTool("{ a = old; }");
    const Ref<HxUserDefaults> defaults = store();
    EXPECT_EQ(defaults->objectForKey("a"_hx), "old"_hx);
    defaults->setObject("new"_hx, "a"_hx);
    {
      const test::SystemCallsKept kept;
      const test::ProcessResources before = test::ProcessResources::now();
      fault.install();
      HxError error;
      EXPECT_FALSE(defaults->synchronize(&error)) << fault.name();
      EXPECT_EQ(error.code(), fault.error) << fault.name();
      EXPECT_EQ(contentsOf(path), "{ a = old; }") << fault.name();
      EXPECT_EQ(defaults->objectForKey("a"_hx), "new"_hx) << fault.name();
      EXPECT_EQ(test::ProcessResources::now(), before) << fault.name();
    }
    EXPECT_TRUE(defaults->synchronize()) << fault.name();
    EXPECT_EQ(contentsOf(path), "{\n    a = new;\n}\n") << fault.name();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("defaults")), {}), 2)
        << fault.name();
  }
}

TEST_F(DefaultsFiles, FolderThatCannotBeMadeLosesNothing) {
  for (const test::FileFault& fault : test::faultsOf({"mkdir"})) {
    const Ref<HxUserDefaults> defaults = store();
    defaults->setObject("1"_hx, "a"_hx);
    {
      const test::SystemCallsKept kept;
      test::failCall<&test::FileCalls::mkdir>(1, fault.error, 1000);
      HxError error;
      EXPECT_FALSE(defaults->synchronize(&error)) << fault.name();
      EXPECT_EQ(error.code(), fault.error) << fault.name();
    }
    EXPECT_TRUE(defaults->synchronize()) << fault.name();
    EXPECT_EQ(store()->objectForKey("a"_hx), "1"_hx) << fault.name();
    std::filesystem::remove_all(folder.path("defaults"));
  }
}

TEST_F(DefaultsFiles, NothingIsWrittenWithoutTheLock) {
  writeTool("{ a = old; }");
  for (const int error : {ENOLCK, EINVAL, EBADF}) {
    const test::SystemCallsKept kept;
    const Ref<HxUserDefaults> defaults = store();
    defaults->setObject("new"_hx, "a"_hx);
    test::failCall<&test::FileCalls::flock>(1, error, 1000);
    const auto& renames = test::countCall<&test::FileCalls::rename>();
    EXPECT_FALSE(defaults->synchronize());
    EXPECT_EQ(renames.count, 0);
    EXPECT_EQ(toolFile(), "{ a = old; }");
    defaults->removeObjectForKey("a"_hx);
    defaults->setObject("old"_hx, "a"_hx);
  }
}

// Closing alone would leave it to a child that was forked meanwhile.
std::vector<int> lockOperations;

TEST_F(DefaultsFiles, LockIsReleasedAndNotOnlyClosed) {
  const test::SystemCallsKept kept;
  lockOperations.clear();
  internal::fileCalls.flock = +[](int fd, int operation) {
    lockOperations.push_back(operation);
    return flock(fd, operation);
  };
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(lockOperations, (std::vector<int>{LOCK_EX, LOCK_UN}));
}

TEST_F(DefaultsFiles, TypeThatTheFileCannotHoldStaysThoughTheFileStays) {
  writeTool("{\n    escape = \"\x1B\";\n    n = 5;\n}\n");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_EQ(defaults->objectForKey("n"_hx), "5"_hx);
  defaults->setObject(HxNumber::numberWithInt(5), "n"_hx);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_EQ(defaults->objectForKey("n"_hx), HxNumber::numberWithInt(5)) << i;
  }
  EXPECT_EQ(store()->objectForKey("n"_hx), "5"_hx);
}

TEST_F(DefaultsFiles, SignalsDoNotBreakTheWaitForTheLock) {
  const test::SystemCallsKept kept;
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  test::failCall<&test::FileCalls::flock>(1, EINTR, 3);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(store()->objectForKey("a"_hx), "1"_hx);
}

TEST_F(DefaultsFiles, FailureToReadAgainKeepsTheLastContents) {
  for (const test::FileFault& fault : test::faultsOf({"open", "fstat", "read"})) {
    if (fault.error == ENOENT || fault.error == ENOTDIR) continue;  // the file has gone
    writeTool("{ a = 1; }");
    const Ref<HxUserDefaults> defaults = store();
    EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
    const std::size_t before = log.messages().size();
    for (int i = 0; i < 2; ++i) {
      const test::SystemCallsKept kept;
      fault.install();
      EXPECT_TRUE(defaults->synchronize()) << fault.name();
      EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx) << fault.name();
    }
    ASSERT_EQ(log.messages().size(), before + 1) << fault.name();
    EXPECT_THAT(log.messages().back(),
                HasSubstr("Settings not read again, the last ones stay: " + folder.path()));
  }
}

// ---- Damaged files

TEST_F(DefaultsFiles, DamagedFileIsReportedOnceAndCountsAsEmpty) {
  const std::string path = writeTool("{ a = 1;\n b = ");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx).isNil());
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_TRUE(defaults->objectForKey("a"_hx).isNil());
  EXPECT_THAT(log.messages(),
              ElementsAre("Settings treated as empty: " + path +
                          ": line 2, column 6: expected a value, found the end of the text"));
  EXPECT_EQ(toolFile(), "{ a = 1;\n b = ");
}

TEST_F(DefaultsFiles, DamagedFileIsKeptAsideWhenASettingIsChanged) {
  const std::string path = writeTool("{ a = ");
  folder.write("defaults/tool.plist.damaged", "from before");
  const Ref<HxUserDefaults> defaults = store();
  defaults->removeObjectForKey("a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{ a = ");
  defaults->setObject("2"_hx, "b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    b = 2;\n}\n");
  EXPECT_EQ(contentsOf(path + ".damaged"), "from before");
  EXPECT_EQ(contentsOf(path + ".damaged-2"), "{ a = ");
  EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(DefaultsFiles, FileWithoutADictionaryIsDamaged) {
  const std::string path = writeTool("( a )");
  EXPECT_EQ(store()->dictionaryRepresentation(), HxDictionary::dictionary());
  EXPECT_THAT(log.messages(),
              ElementsAre("Settings treated as empty: " + path + ": the root is not a dictionary"));
}

TEST_F(DefaultsFiles, FolderInPlaceOfTheFileIsKeptAsideToo) {
  std::filesystem::create_directories(folder.path("defaults/tool.plist/inner"));
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n}\n");
  EXPECT_TRUE(std::filesystem::exists(folder.path("defaults/tool.plist.damaged/inner")));
  EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(DefaultsFiles, FIFOInPlaceOfTheFileIsReportedOnceAndKeptAside) {
  std::filesystem::create_directories(folder.path("defaults"));
  const std::string path = folder.path("defaults/tool.plist");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx).isNil());
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_THAT(log.messages(),
              ElementsAre("Settings treated as empty: " + path + ": not a regular file"));
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n}\n");
  EXPECT_TRUE(std::filesystem::is_fifo(path + ".damaged"));
}

TEST_F(DefaultsFiles, DamageThatComesLaterIsReportedAndHidesNothing) {
  const std::string path = writeTool("{ a = 1; }");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx));
  writeTool("{");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
  EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("Settings not read again")));
  writeTool("{ a = 2; }");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->objectForKey("a"_hx), "2"_hx);
  EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(DefaultsFiles, ChangeAfterLaterDamageWritesTheLastContentsToo) {
  const std::string path = writeTool("{ a = 1; }");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx));
  writeTool("{");
  defaults->setObject("2"_hx, "b"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n    b = 2;\n}\n");
  EXPECT_EQ(contentsOf(path + ".damaged"), "{");
}

TEST_F(DefaultsFiles, SettingThatALaterDamageTookIsWrittenAgain) {
  const std::string path = writeTool("{ a = 1; }");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx));
  writeTool("{");
  defaults->setObject("1"_hx, "a"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(toolFile(), "{\n    a = 1;\n}\n");
  EXPECT_EQ(contentsOf(path + ".damaged"), "{");
}

TEST_F(DefaultsFiles, UnlockingDoesNotHideWhyAWritingFailed) {
  const test::SystemCallsKept kept;
  internal::fileCalls.flock = +[](int fd, int operation) {
    const int result = flock(fd, operation);
    if (operation == LOCK_UN) errno = EIO;
    return result;
  };
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("1"_hx, "a"_hx);
  test::failCall<&test::FileCalls::fsync>(1, ENOSPC);
  HxError error;
  EXPECT_FALSE(defaults->synchronize(&error));
  EXPECT_EQ(error.code(), ENOSPC);
}

TEST_F(DefaultsFiles, DamagedFileStaysWhereItIsIfNoNewOneCanBeWritten) {
  for (const test::FileFault& fault : test::faultsOf({"lstat", "fsync", "rename"})) {
    const std::string path = writeTool("{");
    const Ref<HxUserDefaults> defaults = store();
    defaults->setObject("1"_hx, "a"_hx);
    {
      const test::SystemCallsKept kept;
      fault.install();
      EXPECT_FALSE(defaults->synchronize()) << fault.name();
      EXPECT_EQ(contentsOf(path), "{") << fault.name();
      EXPECT_FALSE(std::filesystem::exists(path + ".damaged")) << fault.name();
    }
    EXPECT_TRUE(defaults->synchronize()) << fault.name();
    EXPECT_EQ(contentsOf(path + ".damaged"), "{") << fault.name();
    std::filesystem::remove(path + ".damaged");
  }
}

TEST_F(DefaultsFiles, FileThatWasRemovedIsEmpty) {
  const std::string path = writeTool("{ a = 1; }");
  const Ref<HxUserDefaults> defaults = store();
  EXPECT_TRUE(defaults->objectForKey("a"_hx));
  std::filesystem::remove(path);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_TRUE(defaults->objectForKey("a"_hx).isNil());
  EXPECT_THAT(log.messages(), IsEmpty());
}

// ---- Threads

std::atomic<bool> isWaiting = false;

// A second process holds the lock until the reader has done all its work.
TEST_F(DefaultsFiles, ReadsAndChangesDoNotWaitForAWriting) {
  const test::SystemCallsKept kept;
  writeTool("{ a = 1; }");
  folder.write("defaults/.lock", "");
  const int lock = open(folder.path("defaults/.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  isWaiting = false;
  internal::fileCalls.flock = +[](int fd, int operation) {
    EXPECT_TRUE(operation == LOCK_EX || operation == LOCK_UN) << operation;
    isWaiting = true;
    return flock(fd, operation);
  };
  const Ref<HxUserDefaults> defaults = store();
  defaults->setObject("2"_hx, "b"_hx);
  std::thread writer([&] { EXPECT_TRUE(defaults->synchronize()); });
  while (!isWaiting) std::this_thread::yield();
  EXPECT_EQ(defaults->objectForKey("a"_hx), "1"_hx);
  EXPECT_EQ(defaults->objectForKey("b"_hx), "2"_hx);
  defaults->setObject("3"_hx, "b"_hx);
  defaults->setObject("4"_hx, "c"_hx);
  EXPECT_EQ(defaults->dictionaryRepresentation().count(), 3U);
  EXPECT_EQ(toolFile(), "{ a = 1; }");
  close(lock);
  writer.join();
  EXPECT_EQ(store()->objectForKey("b"_hx), "2"_hx);
  EXPECT_EQ(defaults->objectForKey("b"_hx), "3"_hx);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(store()->objectForKey("b"_hx), "3"_hx);
  EXPECT_EQ(store()->objectForKey("c"_hx), "4"_hx);
}

// ---- Processes

class SettingsOfProcesses : public testing::Test {
 protected:
  // Runs commands of the shell, in which $W is the program that writes settings.
  void run(const std::string& commands) const {
    const std::string program = test::programPath("write-settings");
    const std::string line =
        "export XDG_CONFIG_HOME='" + folder.path() + "'; W='" + program + "'; " + commands;
    EXPECT_EQ(std::system(line.c_str()), 0);
  }
  HxDictionary settings() const {
    return HxDictionary::dictionaryWithContentsOfFile(
        hx(folder.path("rondel/defaults/write-settings.plist")));
  }

  const test::TemporaryDirectory folder;
};

TEST_F(SettingsOfProcesses, AreAllKeptIfManyWriteAtOnce) {
  run("for name in a b c d e f g h i j k l; do $W $name 12 sync & pids=\"$pids $!\"; done; "
      "for pid in $pids; do wait $pid || exit 1; done");
  EXPECT_EQ(settings().count(), 144U);
}

TEST_F(SettingsOfProcesses, AForkedProcessLeavesThoseOfItsParentAlone) {
  run("$W a 3 fork-pass");
  run("$W a 3 fork-exit");
  EXPECT_TRUE(settings().isNil());
}

TEST_F(SettingsOfProcesses, AreWrittenAtExit) {
  run("$W a 3");
  EXPECT_EQ(settings(),
            HxDictionary::dictionaryWithEntries({{"a.0"_hx, HxNumber::numberWithInt(0)},
                                                 {"a.1"_hx, HxNumber::numberWithInt(1)},
                                                 {"a.2"_hx, HxNumber::numberWithInt(2)}}));
}

}  // namespace
}  // namespace rondel
