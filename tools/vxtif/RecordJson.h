// The library's records as JSON objects: the keys are the records' own field names.
#pragma once

#include "Console.h"

#include <vxtif/info.h>

Json JsonOfReport(const FileInfoRecord& report);
