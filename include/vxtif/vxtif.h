/* vxtif, the TIFF filter of the toolkit: all records, result codes and exports. */
#ifndef VXTIF_VXTIF_H
#define VXTIF_VXTIF_H

#include "comments.h"
#include "formats.h"
#include "info.h"
#include "load.h"
#include "metadata.h"
#include "page.h"
#include "rawpage.h"
#include "results.h"
#include "save.h"

#endif
