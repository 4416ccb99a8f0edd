// Jobs for the directory writer, filled from a save request and a strip layout. The drivers of strip, fax, variant and
// CMYK array saves add what is their own: palette, compression, and the layout where they have another one.

#include "Tif/DirectoryJob.h"

DirectoryWriteJob TIFDirectoryJob(const FilterSaveRequest* request, BitmapHandle* descriptor, TifPage* page) {
  DirectoryWriteJob job = {};
  job.descriptor = descriptor;
  job.bitsPerPixel = request->bitsPerPixel;
  job.comments = request->comments;
  job.options = request->fileOptions;
  job.tagList = request->tagList;
  job.markers = request->markers;
  job.private50235 = request->private50235;
  job.page = page;
  return job;
}

void TIFSetJobLayout(DirectoryWriteJob* job, const TifRowContext* rows, uint32_t stripCount) {
  job->stripCount = stripCount;
  job->byteCounts = rows->byteCounts;
  job->tileWidth = rows->tileWidth;
  job->rowsPerStrip = rows->rowsPerStrip;
}
