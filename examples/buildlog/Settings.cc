// SPDX-License-Identifier: MIT
#include "Settings.h"

#include <vector>

#include "Rondel/additions/Identifiers.h"
#include "Rondel/additions/SimpleAssignments.h"
#include "Rondel/additions/TextDecoding.h"
#include "Rondel/additions/VariableExpansion.h"
#include "Rondel/core/Array.h"
#include "Rondel/core/Set.h"

using namespace rondel;

HxString Settings::readFile(const HxString& path) {
  const HxString text =
      path.isEmpty() ? HxString() : initWithUnicodeOrHaldenOSRomanContentsOfFile(path, nullptr);
  if (!text) return HxString::stringWithFormat("cannot read %@"_hx, path);
  HxString problem;
  const HxDictionary settings =
      dictionaryByParsingAsSimpleAssignmentsAndGetLocalizedErrorString(text, &problem);
  if (!settings) return problem;
  _read.addEntriesFromDictionary(settings);
  return nullptr;
}

// The value is taken as it stands: on a command line nobody means the blanks or the semicolon that
// a line of a file may have.
HxString Settings::define(const HxString& assignment) {
  const HxRange equals = assignment.rangeOfString("="_hx);
  const HxString name =
      assignment.substringToIndex(equals.length > 0 ? equals.location : assignment.length());
  if (equals.length == 0 || !isLegalCIdentifier(name)) {
    return HxString::stringWithFormat("not NAME=VALUE: %@"_hx, assignment);
  }
  _defined.setObject(assignment.substringFromIndex(equals.location + 1), name);
  return nullptr;
}

HxDictionary Settings::all() const {
  HxMutableDictionary all = _read.mutableCopy();
  all.addEntriesFromDictionary(_defined);
  return all;
}

HxString Settings::expand(const HxString& text) const {
  return MO_stringByExpandingVariables(text, all(), MoExpansionRescanExpansions).copy();
}

// Walks the references depth first, along a path of names that are not done with yet.
HxString Settings::settingInCircle(const HxString& text) const {
  struct Step {
    HxString name;
    HxArray references;
    HxUInteger next = 0;
  };
  const HxDictionary values = all();
  std::vector<Step> path = {{nullptr, namesOfExpandableVariables(text)}};
  HxMutableSet onPath = HxMutableSet::set();
  HxMutableSet done = HxMutableSet::set();
  while (!path.empty()) {
    Step& step = path.back();
    if (step.next == step.references.count()) {
      onPath.removeObject(step.name);
      done.addObject(step.name);
      path.pop_back();
      continue;
    }
    const HxString name = step.references.objectAtIndex<HxString>(step.next++);
    if (onPath.containsObject(name)) return name;
    if (done.containsObject(name)) continue;
    onPath.addObject(name);
    path.push_back({name, namesOfExpandableVariables(values.objectForKey<HxString>(name))});
  }
  return nullptr;
}
