// The library's records as JSON objects: the keys are the records' own field names.
#pragma once

#include <string_view>

#include "Console.h"
#include "toolkit/PageContents.h"
#include "toolkit/TypedValue.h"

#include <vxtif/info.h>

Json JsonOfReport(const FileInfoRecord& report);

// What a page carries; what it does not carry is left out.
Json JsonOfContents(const toolkit::PageContents& contents);

// A text, a list of numbers (rationals as "a/b"), or one of these alone when the count is 1. Bytes are numbers too.
Json JsonOfValue(const toolkit::TypedValue& value);

// {"tag", "name" when it has one, "type", "count", "value" when it could be read}
Json JsonOfTag(uint16_t tag, std::string_view name, const toolkit::TypedValue& value);
