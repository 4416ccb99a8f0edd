// Exports whose work is not in the library yet: each answers with a refusal of its own family, so that a host can link
// and call everything. A function leaves this file when its work arrives.

#include <vxtif/vxtif.h>
