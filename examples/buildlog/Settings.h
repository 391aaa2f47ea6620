// SPDX-License-Identifier: MIT
//
// The settings of buildlog: what references like $(NAME) in the command stand for.
#pragma once

#include "Rondel/core/Dictionary.h"
#include "Rondel/core/String.h"

class Settings {
 public:
  // Reads a file of simple assignments. Nil, or what is wrong with it, for the user.
  rondel::HxString readFile(const rondel::HxString& path);
  // Takes one NAME=VALUE, which wins over all files. Nil, or what is wrong with it.
  rondel::HxString define(const rondel::HxString& assignment);

  bool isEmpty() const { return _read.isEmpty() && _defined.isEmpty(); }
  // The text with all references replaced, also those in values; what is not set is empty.
  rondel::HxString expand(const rondel::HxString& text) const;
  // A setting that the text needs and whose value leads back to itself, so that there would be no
  // end of expanding it; nil when there is none.
  rondel::HxString settingInCircle(const rondel::HxString& text) const;

 private:
  rondel::HxDictionary all() const;

  rondel::HxMutableDictionary _read = rondel::HxMutableDictionary::dictionary();
  rondel::HxMutableDictionary _defined = rondel::HxMutableDictionary::dictionary();
};
