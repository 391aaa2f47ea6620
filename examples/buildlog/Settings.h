// SPDX-License-Identifier: MIT
//
// The settings of buildlog: what references like $(NAME) in the command stand for.
#pragma once

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

class Settings {
 public:
  // Reads a file of simple assignments. Nil, or what is wrong with it, for the user.
  rondel::HxString readFile(const rondel::HxString& path);
  // Takes one NAME=VALUE, which wins over all files. Nil, or what is wrong with it.
  rondel::HxString define(const rondel::HxString& assignment);

  // Whether a file was read or a setting defined, even if the file was empty.
  bool areGiven() const { return _areGiven; }
  // Puts what they stand for in place of all references in the text, also of those in values; what
  // is not set is empty. Nil, or what is wrong: values that lead back to themselves have no end.
  rondel::HxString expand(rondel::HxString& text) const;

 private:
  rondel::HxDictionary all() const;

  bool _areGiven = false;
  rondel::HxMutableDictionary _read = rondel::HxMutableDictionary::dictionary();
  rondel::HxMutableDictionary _defined = rondel::HxMutableDictionary::dictionary();
};
