/* The record layouts as a C11 compiler has them. */

#include "boundary/RecordLayout.h"

#include <vxfax/vxfax.h>
#include <vxkernel/vxkernel.h>
#include <vxtif/vxtif.h>

static const LayoutRow rows[] = {RECORD_LAYOUT(LAYOUT_FIELD, LAYOUT_SIZE)};

const LayoutRow* LayoutInC(size_t* count) {
  *count = sizeof rows / sizeof rows[0];
  return rows;
}
