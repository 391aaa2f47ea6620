// SPDX-License-Identifier: MIT
#pragma once

// A slow model of variable expansion, which follows the rules character by character and edits one
// copy in place. Tests compare the real expansion with it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace rondel::test {

class ExpansionModel {
 public:
  struct Reference {
    std::size_t start;
    std::size_t nameStart;
    std::size_t nameEnd;
    std::size_t end;
  };
  /// Returns the value of a variable; none if it is not defined.
  using LookUp = std::function<std::optional<std::u16string>(const std::u16string& name)>;

  /// Returns the first reference between the location and the end. The end may lie before the
  /// location.
  static std::optional<Reference> find(const std::u16string& text, std::size_t location,
                                       std::size_t end) {
    for (std::size_t i = location; i < end && text[i] != 0xFFFF; ++i) {
      if (text[i] == u'\\') {
        if (++i < end && text[i] == 0xFFFF) return std::nullopt;
      } else if (text[i] == u'\'') {
        i = closing(text, i + 1, end, u'\'');
        if (i == end) return std::nullopt;
      } else if (text[i] == u'$' && i + 1 < end) {
        static const std::u16string opening = u"({[%";
        const std::size_t kind = opening.find(text[i + 1]);
        if (kind != std::u16string::npos) {
          const std::size_t close = closing(text, i + 2, end, u")}]%"[kind]);
          if (close == end) return std::nullopt;
          return Reference{i, i + 2, close, close + 1};
        }
        std::size_t nameEnd = i + 1;
        while (nameEnd < end && isIdentifier(text[nameEnd])) ++nameEnd;
        if (nameEnd > i + 1) return Reference{i, i + 1, nameEnd, nameEnd};
      }
    }
    return std::nullopt;
  }

  static std::u16string expand(std::u16string text, const LookUp& lookUp, std::size_t location,
                               std::size_t length, bool keepsUndefined, bool rescans) {
    while (const auto found = find(text, location, location + length)) {
      const std::size_t size = found->end - found->start;
      const auto value = lookUp(text.substr(found->nameStart, found->nameEnd - found->nameStart));
      if (!value && keepsUndefined) {
        location = found->end;
        length = length - location;
        continue;
      }
      const std::u16string replacement = value.value_or(u"");
      text.replace(found->start, size, replacement);
      const std::size_t next = rescans ? found->start : found->start + replacement.size();
      length = location + length - size + replacement.size() - next;
      location = next;
    }
    return text;
  }

  static std::vector<std::u16string> names(const std::u16string& text) {
    std::vector<std::u16string> all;
    std::size_t location = 0;
    while (const auto found = find(text, location, text.size())) {
      all.push_back(text.substr(found->nameStart, found->nameEnd - found->nameStart));
      location = found->end;
    }
    return all;
  }

 private:
  static bool isIdentifier(char16_t unit) {
    static const std::u16string all =
        u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz1234567890_";
    return all.find(unit) != std::u16string::npos;
  }
  static std::size_t closing(const std::u16string& text, std::size_t i, std::size_t end,
                             char16_t target) {
    for (; i < end && text[i] != 0xFFFF; ++i) {
      if (text[i] == target) return i;
      if (text[i] == u'\\' && ++i < end && text[i] == 0xFFFF) return end;
    }
    return end;
  }
};

}  // namespace rondel::test
