// SPDX-License-Identifier: MIT
//
// The class operations of ZevMoTask on architecture names and cpu types.
#include "Rondel/Streams/Task.h"
#include "Rondel/host/Architecture.h"

namespace rondel {

HxNumber ZevMoTask::_cpuTypeForArch(const HxString& name) {
  const HxCString text = name.UTF8String();
  if (text.view().find('\0') != std::string_view::npos) return nullptr;
  const HnArchInfo* info = HnGetArchInfoFromName(text.c_str());
  return info ? HxNumber::numberWithInt(info->cputype) : HxNumber();
}

HxString ZevMoTask::_cpuStringForCPUSubType(const HxNumber& type) {
  if (!type) return nullptr;
  const HnArchInfo* info = HnGetArchInfoFromCpuType(type.intValue(), kAnyCpuSubtype);
  if (info) info = HnGetArchInfoFromCpuType(info->cputype, kAnyCpuSubtype);
  return info ? HxString::stringWithUTF8String(info->name) : HxString();
}

HxString ZevMoTask::cpuTypeStringForArch(const HxString& name) {
  return _cpuStringForCPUSubType(_cpuTypeForArch(name));
}

HxArray ZevMoTask::cpuTypesForArchStrings(const HxArray& names) {
  HxMutableArray types = HxMutableArray::array();
  for (const HxAny& name : names) types.addObject(_cpuTypeForArch(as<HxString>(name)));
  return types;
}

HxArray ZevMoTask::architecturesForCPUTypes(const HxArray& types) {
  HxMutableArray names = HxMutableArray::array();
  for (const HxAny& type : types) names.addObject(_cpuStringForCPUSubType(as<HxNumber>(type)));
  return names;
}

}  // namespace rondel
