// A readable, stable text form of a Document: one line per item, in order, integer twips.
//   p1 PageFooter/txtPageTtl text 5580,270 450x270 align=L row=-1 "3"
// Tests compare these lines; they are also handy for eyeballing a run.
#pragma once

#include <string>

#include "galvix/document.h"

namespace galvix::engine {

std::string dumpItem(const doc::Item& item, int pageNumber);
std::string dumpDocument(const doc::Document& d);

}  // namespace galvix::engine
