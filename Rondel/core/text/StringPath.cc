// SPDX-License-Identifier: MIT
//
// Strings as paths.
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/core/collections/internal/ArrayStorage.h"
#include "Rondel/core/system/internal/FilePath.h"
#include "Rondel/core/system/internal/Links.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"

namespace rondel {

using internal::Characters;

namespace {

constexpr HxUniChar kSeparator = u'/';

// Returns the end of [0, end) without trailing separators; the root's own one stays.
HxUInteger endWithoutSeparators(const Characters& path, HxUInteger end) {
  while (end > 1 && path[end - 1] == kSeparator) --end;
  return end;
}

HxUInteger startOfComponentEndingAt(const Characters& path, HxUInteger end) {
  while (end > 0 && path[end - 1] != kSeparator) --end;
  return end;
}

// Where the last component lies, and its last dot. A name may begin with a dot without being all
// extension, so that dot does not count.
struct LastComponent {
  explicit LastComponent(const Characters& path)
      : end(endWithoutSeparators(path, path.length())),
        start(startOfComponentEndingAt(path, end)),
        dot(end) {
    for (HxUInteger i = end; i > start + 1; --i) {
      if (path[i - 1] != u'.') continue;
      if (i < end) dot = i - 1;
      break;
    }
  }
  bool hasExtension() const { return dot < end; }
  bool isRoot() const { return start == end && end > 0; }

  HxUInteger end;
  HxUInteger start;
  HxUInteger dot;  // `end` if there is no extension
};

// Returns what is appended of a component: all but the separators at its end, and at its start
// unless it is the first one.
HxString partToAppend(const HxString& component, bool isFirst) {
  const Characters name(component);
  const HxUInteger end = endWithoutSeparators(name, name.length());
  HxUInteger start = 0;
  while (!isFirst && start < end && name[start] == kSeparator) ++start;
  return component.substringWithRange({start, end - start});
}

}  // namespace

HxString HxString::stringByAppendingPathComponent(const HxString& component) const {
  if (!_object) return nullptr;
  const Characters path(*this);
  const HxUInteger end = endWithoutSeparators(path, path.length());
  const HxString tail = partToAppend(component, end == 0);
  if (end == 0) return tail ? tail : copy();
  HxString head = substringToIndex(end);
  if (tail.isEmpty()) return head;
  const bool isRoot = path[end - 1] == kSeparator;
  return isRoot ? stringByConcatenating(head, tail) : stringByConcatenating(head, "/"_hx, tail);
}

HxString HxString::stringByDeletingLastPathComponent() const {
  const Characters path(*this);
  return substringToIndex(endWithoutSeparators(path, LastComponent(path).start));
}

HxString HxString::lastPathComponent() const {
  const Characters path(*this);
  const LastComponent last(path);
  return last.isRoot() ? substringToIndex(1)
                       : substringWithRange({last.start, last.end - last.start});
}

HxString HxString::pathExtension() const {
  const LastComponent last{Characters(*this)};
  return last.hasExtension() ? substringWithRange({last.dot + 1, last.end - last.dot - 1})
                             : substringToIndex(0);
}

HxString HxString::stringByDeletingPathExtension() const {
  return substringToIndex(LastComponent{Characters(*this)}.dot);
}

HxArray HxString::pathComponents() const {
  if (!_object) return nullptr;
  const Characters path(*this);
  internal::ArrayBuilder components;
  if (path.length() > 0 && path[0] == kSeparator) components.append("/"_hx);
  HxUInteger end = 0;
  for (HxUInteger start = 0; start < path.length(); start = end + 1) {
    end = start;
    while (end < path.length() && path[end] != kSeparator) ++end;
    if (end > start) components.append(substringWithRange({start, end - start}));
  }
  const LastComponent last(path);
  const bool endsInName = last.end == path.length();
  if (!endsInName && !last.isRoot()) components.append("/"_hx);
  return components.finish();
}

HxString HxString::pathWithComponents(const HxArray& components) {
  HxMutableString path = HxMutableString::string();
  for (const HxAny& component : components) {
    const bool isFirst = path.isEmpty();
    const HxString part = partToAppend(as<HxString>(component), isFirst);
    if (part.isEmpty()) continue;
    if (!isFirst && !path.hasSuffix("/"_hx)) path.appendString("/"_hx);
    path.appendString(part);
  }
  return path.copy();
}

bool HxString::isAbsolutePath() const {
  if (length() == 0) return false;
  const HxUniChar first = characterAtIndex(0);
  return first == kSeparator || first == u'~';
}

// ---- Paths and the file system ----------------------------------------------------------------

namespace {

// Returns the home directory of a user, of the current one if the name is empty; nil if none.
HxString homeDirectory(const HxString& user) {
  if (const char* home = user.isEmpty() ? std::getenv("HOME") : nullptr; home && *home) {
    return HxString::stringWithUTF8String(home);
  }
  const internal::FilePath name = internal::FilePath::strict(user);  // no NUL cuts it short
  if (!name && !user.isEmpty()) return nullptr;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(1024);
  const auto lookUp = [&] {
    return user.isEmpty()
               ? ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found)
               : ::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
  };
  int error = lookUp();
  for (; error == ERANGE || error == EINTR; error = lookUp()) {
    if (error == ERANGE) buffer.resize(buffer.size() * 2);
  }
  return found ? HxString::stringWithUTF8String(found->pw_dir) : HxString();
}

HxString byExpandingTilde(const HxString& path) {
  if (!path.hasPrefix("~"_hx)) return path;
  const HxRange separator = path.rangeOfString("/"_hx, HxLiteralSearch);
  const HxUInteger end = separator.length > 0 ? separator.location : path.length();
  const HxString home = homeDirectory(path.substringWithRange({1, end - 1}));
  return home ? HxString::stringByConcatenating(home, path.substringFromIndex(end)) : path;
}

// Returns the path with every link followed; nil if it cannot be determined.
HxString byFollowingLinks(const HxString& path) {
  const internal::FilePath name = internal::FilePath::strict(path);
  const std::string result = name ? internal::pathWithoutLinks(name.c_str()) : std::string();
  return result.empty() ? HxString() : HxString(std::string_view(result));
}

bool hasParentReference(const HxString& path) {
  return path.pathComponents().containsObject(".."_hx);
}

// Drops "." and empty components, and in absolute paths ".." with the component before it.
HxString tidied(const HxString& path) {
  const bool isAbsolute = path.hasPrefix("/"_hx);
  HxMutableArray kept = HxMutableArray::array();
  for (const HxAny& component : path.pathComponents()) {
    const HxString name = as<HxString>(component);
    if (name == "/"_hx || name == "."_hx) continue;
    if (!isAbsolute || name != ".."_hx) {
      kept.addObject(name);
    } else {
      kept.removeLastObject();
    }
  }
  const HxString text = kept.componentsJoinedByString("/"_hx);
  if (isAbsolute) return HxString::stringByConcatenating("/"_hx, text);
  return text.isEmpty() && !path.isEmpty() ? "."_hx : text;
}

}  // namespace

HxString HxString::stringByStandardizingPath() const {
  if (!_object) return nullptr;
  HxString path = byExpandingTilde(*this);
  // The parent of a folder that was reached through a link is the parent of what the link points
  // to. Text alone decides only if there is no such folder.
  if (path.hasPrefix("/"_hx) && hasParentReference(path)) {
    if (const HxString followed = byFollowingLinks(path)) path = followed;
  }
  const HxString result = tidied(path);
  return isEqualToString(result) ? copy() : result;
}

HxString HxString::stringByResolvingSymlinksInPath() const {
  if (isEmpty()) return copy();
  const HxString result = byFollowingLinks(byExpandingTilde(*this));
  return !result || isEqualToString(result) ? copy() : result;
}

}  // namespace rondel
