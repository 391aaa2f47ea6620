// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/Bundle.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <new>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/object/Error.h"
#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/propertylist/internal/BundleObject.h"
#include "Rondel/core/propertylist/internal/Languages.h"
#include "Rondel/core/propertylist/internal/PropertyListForms.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/system/internal/FileCalls.h"
#include "Rondel/core/system/internal/FilePath.h"

namespace rondel {

using internal::BundleObject;

namespace internal {
namespace {

constexpr HxString kIdentifierKey = "HxBundleIdentifier"_hx;
constexpr HxString kDevelopmentRegionKey = "HxBundleDevelopmentRegion"_hx;

HxString pathInside(const HxString& folder, std::string_view name) {
  const std::string path = folder.toStdString() + "/" + std::string(name);
  return HxString(std::string_view(path));
}

}  // namespace

void logReports(const std::vector<HxString>& reports) {
  for (const HxString& report : reports) HxLog("%@"_hx, report);
}

HxDictionary readDictionaryFile(const HxString& path, std::vector<HxString>& reports) {
  HxError error;
  const HxAny list = propertyListOfRegularFile(path, &error);
  if (HxDictionary dictionary = as<HxDictionary>(list)) return dictionary;
  const bool isMissing = !list && error.domain() == HxPOSIXErrorDomain &&
                         (error.code() == ENOENT || error.code() == ENOTDIR);
  if (isMissing) return nullptr;
  if (list) error = propertyListFileError(path, "the root is not a dictionary"_hx);
  reports.push_back(
      HxString::stringWithFormat("File treated as empty: %@"_hx, error.localizedDescription()));
  return nullptr;
}

BundleObject::BundleObject(const HxString& path, const HxString& identifier,
                           std::vector<std::string> wantedLanguages, std::vector<HxString>& reports)
    : HxObject(HxTypeID::bundle),
      _path(path),
      _identifier(identifier),
      _info(HxDictionary::dictionary()),
      _languages(std::move(wantedLanguages)),
      _tables(HxMutableDictionary::dictionary()) {
  if (!_path) return;
  if (const HxDictionary info = readDictionaryFile(pathInside(_path, "Info.plist"), reports)) {
    _info = info;
  }
  if (!_identifier) _identifier = _info.objectForKey<HxString>(kIdentifierKey);
  addLanguage(_languages, "en");
  addLanguage(_languages, _info.objectForKey<HxString>(kDevelopmentRegionKey).toStdString());
  addLanguage(_languages, "Base");
}

HxClass BundleObject::classObject() noexcept {
  static const HxClassInfo info{"HxBundle", HxObject::classObject().info()};
  return HxClass(&info);
}

HxString BundleObject::description() const {
  return HxString::stringWithFormat("<HxBundle %@ at %@>"_hx, _identifier, _path);
}

HxDictionary BundleObject::table(const HxString& name) {
  const HxString key = builtInString(name);
  std::vector<HxString> reports;
  HxAny table;
  {
    const MutexLock held(_lock);
    table = _tables.objectForKey(key);
    if (!table) {
      table = readTable(key, reports);
      _tables.setObject(table ? table : HxArray::array(), key);
    }
  }
  logReports(reports);
  return as<HxDictionary>(table);
}

HxDictionary BundleObject::readTable(const HxString& name, std::vector<HxString>& reports) const {
  const std::string file = name.toStdString() + ".strings";
  if (!_path || file.find('/') != std::string::npos) return nullptr;
  HxMutableDictionary entries = nullptr;
  for (auto language = _languages.rbegin(); language != _languages.rend(); ++language) {
    const HxString path = pathInside(_path, "Resources/" + *language + ".lproj/" + file);
    const HxDictionary table = readDictionaryFile(path, reports);
    if (!table) continue;
    if (!entries) entries = HxMutableDictionary::dictionary();
    entries.addEntriesFromDictionary(table);
  }
  return entries.copy();
}

HxBundle libraryBundleIn(const std::vector<std::string>& folders, std::vector<HxString>& reports) {
  const std::vector<std::string> languages = wantedLanguages(LocaleVariables::ofEnvironment());
  for (const std::string& folder : folders) {
    const HxString path{std::string_view(folder)};
    const Ref<BundleObject> bundle = makeRef<BundleObject>(path, nullptr, languages, reports);
    if (bundle->identifier() == HxRondelBundleIdentifier) return as<HxBundle>(bundle);
  }
  return as<HxBundle>(makeRef<BundleObject>(nullptr, HxRondelBundleIdentifier, languages, reports));
}

}  // namespace internal

namespace {

HxBundle newBundle(const HxString& path, std::vector<HxString>& reports) {
  const auto variables = internal::LocaleVariables::ofEnvironment();
  return as<HxBundle>(
      makeRef<BundleObject>(path, nullptr, internal::wantedLanguages(variables), reports));
}

BundleObject& objectOf(const HxBundle& bundle) {
  return *static_cast<BundleObject*>(bundle.object());
}

// Returns the folder's path without links; nil if there is no such folder.
HxString folderAt(const HxString& path) {
  const internal::FilePath name = internal::FilePath::strict(path);
  if (!name) return nullptr;
  const std::unique_ptr<char, decltype(&std::free)> real(
      internal::fileCalls.realpath(name.c_str(), nullptr), std::free);
  if (!real && errno == ENOMEM) throw std::bad_alloc();
  struct stat status;
  if (!real || internal::fileCalls.stat(real.get(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    return nullptr;
  }
  return HxString::stringWithUTF8String(real.get());
}

HxString executableFolder() {
  char path[PATH_MAX];
  const ssize_t length = internal::fileCalls.readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return nullptr;
  const std::string_view executable(path, static_cast<std::size_t>(length));
  const std::size_t slash = executable.find_last_of('/');
  return slash == std::string_view::npos ? HxString()
                                         : HxString(executable.substr(0, slash ? slash : 1));
}

void addDataFolders(std::vector<std::string>& folders, std::string_view list) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    // The XDG base directory rules say to ignore relative paths.
    if (list.starts_with('/')) folders.push_back(std::string(list.substr(0, end)) + "/rondel");
    list.remove_prefix(std::min(end + 1, list.size()));
  }
}

std::vector<std::string> libraryFolders() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string(value ? value : "");
  };
  std::vector<std::string> folders;
  addDataFolders(folders, variable("XDG_DATA_HOME"));
  if (folders.empty()) addDataFolders(folders, variable("HOME") + "/.local/share");
  const std::string system = variable("XDG_DATA_DIRS");
  addDataFolders(folders, system.empty() ? "/usr/local/share:/usr/share" : system);
  return folders;
}

// Every bundle that was ever made, the main one and the library's first. Never unloaded.
class Registry {
 public:
  static Registry& shared() {
    static Registry& registry = *new Registry;
    registry.logReports();
    return registry;
  }

  const HxBundle& mainBundle() const noexcept { return _mainBundle; }

  template <class Test>
  HxBundle first(Test test) {
    const internal::MutexLock held(_lock);
    for (const HxBundle& bundle : _bundles) {
      if (test(objectOf(bundle))) return bundle;
    }
    return nullptr;
  }
  HxBundle withPath(const HxString& path) {
    return first([&](BundleObject& bundle) { return bundle.path() == path; });
  }
  void add(const HxBundle& bundle) {
    const internal::MutexLock held(_lock);
    _bundles.push_back(bundle);
  }

 private:
  Registry()
      : _mainBundle(newBundle(executableFolder(), _reports)),
        _bundles{_mainBundle, internal::libraryBundleIn(libraryFolders(), _reports)} {}

  // Not while the registry is being made: a tool's own log may ask for a bundle.
  void logReports() {
    std::vector<HxString> reports;
    {
      const internal::MutexLock held(_lock);
      reports.swap(_reports);
    }
    internal::logReports(reports);
  }

  internal::Mutex _lock;
  std::vector<HxString> _reports RONDEL_GUARDED_BY(_lock);
  const HxBundle _mainBundle;
  std::vector<HxBundle> _bundles RONDEL_GUARDED_BY(_lock);
};

}  // namespace

HxBundle HxBundle::mainBundle() { return Registry::shared().mainBundle(); }

HxBundle HxBundle::bundleWithPath(const HxString& path) {
  const HxString folder = folderAt(path);
  if (!folder) return nullptr;
  Registry& registry = Registry::shared();
  if (HxBundle known = registry.withPath(folder)) return known;
  // Two threads may both make it; the one that is found first serves from then on.
  std::vector<HxString> reports;
  registry.add(newBundle(folder, reports));
  internal::logReports(reports);
  return registry.withPath(folder);
}

HxBundle HxBundle::bundleWithIdentifier(const HxString& identifier) {
  const HxString wanted = internal::builtInString(identifier);
  if (!wanted) return nullptr;
  return Registry::shared().first(
      [&](BundleObject& bundle) { return bundle.identifier().isEqualToString(wanted); });
}

HxString HxBundle::bundlePath() const { return _object ? objectOf(*this).path() : HxString(); }

HxString HxBundle::bundleIdentifier() const {
  return _object ? objectOf(*this).identifier() : HxString();
}

HxDictionary HxBundle::infoDictionary() const {
  return _object ? objectOf(*this).info() : HxDictionary();
}

HxDictionary HxBundle::localizedInfoDictionary() const {
  return _object ? objectOf(*this).table("InfoPlist"_hx) : HxDictionary();
}

HxString HxBundle::localizedStringForKey(const HxString& key, const HxString& value,
                                         const HxString& table) const {
  if (!_object) return nullptr;
  if (!key) return value ? value : HxString::string();
  const HxString name = table.isEmpty() ? HxDefaultStringsTable : table;
  HxString text = objectOf(*this).table(name).objectForKey<HxString>(key);
  if (text) return text;
  return value.isEmpty() ? key : value;
}

}  // namespace rondel
