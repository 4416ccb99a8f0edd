// The disk in memory: see the header.

#include "faults/FaultDisk.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

constexpr uint64_t kMostMoves = 20000; // of one call; no honest one of these small files needs as many
constexpr const char* kKindNames[kFaultKinds] = {"allocation", "open",  "read",        "short read", "cut read",
                                                 "seek",       "write", "short write", "cut write"};

} // namespace

const char* NameOfKind(FaultKind kind) {
  return kKindNames[static_cast<int>(kind)];
}

FaultDisk::FaultDisk() {
  std::fill(std::begin(data_), std::end(data_), this);
  Exchange();
  krnSetAllocHook(Ask, this);
}

FaultDisk::~FaultDisk() {
  krnSetAllocHook(nullptr, nullptr);
  Exchange();
}

void FaultDisk::Exchange() {
  krnRedirectIo(&openSlot_, &readSlot_, &writeSlot_, &seekSlot_, &closeSlot_, &data_[0], &data_[1], &data_[2],
                &data_[3], &data_[4]);
}

void FaultDisk::Put(int file, const FileBytes& bytes) {
  if (!files_[file].place.Exists()) {
    files_[file].place.Write({});
  }
  files_[file].bytes = bytes;
  files_[file].exists = true;
}

void FaultDisk::Remove(int file) {
  Put(file, {});
  files_[file].exists = false;
}

bool FaultDisk::Exists(int file) {
  return files_[file].exists && files_[file].place.Exists();
}

void FaultDisk::Arm(const FaultCase& fault) {
  fault_ = fault;
  armed_ = true;
  calls_ = moves_ = 0;
  struck_.clear();
  numbers_.clear();
  visits_.clear();
}

void FaultDisk::Lift() {
  armed_ = false;
}

bool FaultDisk::Strikes(const FaultSite& site) {
  if (!armed_ || site.kind != fault_.kind) {
    return false;
  }
  ++calls_;
  FaultSite struck = site;
  struck.inExport = inExport_;
  if (site.kind == FaultKind::kAllocation) {
    struck.number = ++numbers_[site.module];
  } else if (site.kind == FaultKind::kSeek && (site.whence == kKrnSeekEnd || site.size == 0)) {
    struck.number = ++numbers_[std::to_string(site.file) + (site.size == 0 ? "tell" : "end")];
  }
  struck.visit = ++visits_[{site.file, site.at, site.whence, site.size == 0 ? 0 : 1}];
  if (fault_.nth == 0 || calls_ < fault_.nth || (calls_ > fault_.nth && !fault_.lasting)) {
    return false;
  }
  struck_.push_back(struck);
  return true;
}

uint32_t FaultDisk::Allowed(FaultKind whole, FaultKind one, FaultKind cut, FaultSite site) {
  const uint32_t n = site.size;
  for (const FaultKind kind : {whole, one, cut}) {
    site.kind = kind;
    if (n != 0 && Strikes(site)) {
      return kind == whole ? 0 : kind == one ? std::min(n - 1, 1u) : n - 1;
    }
  }
  return n;
}

FaultDisk::Handle* FaultDisk::Find(VxFileHandle handle) {
  const auto at = std::find_if(open_.begin(), open_.end(), [=](const Handle& each) { return each.number == handle; });
  return at == open_.end() ? nullptr : &*at;
}

VxFileHandle FaultDisk::Open(const char16_t* name, uint32_t flags, uint32_t shareMode, void* self) {
  auto& disk = *static_cast<FaultDisk*>(self);
  for (int file = 0; file < kFiles; ++file) {
    if (name == nullptr || std::u16string_view(name) != disk.Name(file)) {
      continue;
    }
    FaultSite site = {FaultKind::kOpen, ""};
    site.file = file;
    site.openFlags = flags;
    const bool creates = (flags & kKrnFileCreate) != 0;
    const uint32_t access = flags & kKrnFileAccessMask;
    if (disk.Strikes(site) || (!disk.files_[file].exists && !creates)) {
      return kKrnNoHandle;
    }
    if (!disk.files_[file].exists || (creates && access == kKrnFileReadWrite)) {
      disk.files_[file].bytes.clear();
    }
    disk.files_[file].exists = true;
    disk.open_.push_back({disk.nextHandle_++, file, 0, access != kKrnFileRead});
    return disk.open_.back().number;
  }
  return disk.openSlot_(name, flags, shareMode, disk.data_[0]);
}

uint32_t FaultDisk::Read(VxFileHandle handle, void* buffer, uint32_t n, void* self) {
  auto& disk = *static_cast<FaultDisk*>(self);
  Handle* const from = disk.Find(handle);
  FaultSite site = {FaultKind::kRead, ""};
  site.file = from != nullptr ? from->file : kInMemory;
  site.at = from != nullptr ? static_cast<uint32_t>(from->position) : 0;
  site.size = n;
  const uint32_t allowed = disk.Allowed(FaultKind::kRead, FaultKind::kShortRead, FaultKind::kCutRead, site);
  if ((allowed == 0 && n != 0) || ++disk.moves_ > kMostMoves) {
    return kKrnIoFailed;
  }
  if (from == nullptr) {
    return disk.readSlot_(handle, buffer, allowed, disk.data_[1]);
  }
  const FileBytes& bytes = disk.files_[from->file].bytes;
  const uint64_t left = from->position < bytes.size() ? bytes.size() - from->position : 0;
  const auto moved = static_cast<uint32_t>(std::min<uint64_t>(left, allowed));
  if (moved != 0) {
    std::memcpy(buffer, bytes.data() + static_cast<size_t>(from->position), moved);
  }
  from->position += moved;
  return moved;
}

uint32_t FaultDisk::Write(VxFileHandle handle, const void* buffer, uint32_t n, void* self) {
  auto& disk = *static_cast<FaultDisk*>(self);
  Handle* const to = disk.Find(handle);
  FaultSite site = {FaultKind::kWrite, ""};
  site.file = to != nullptr ? to->file : kInMemory;
  site.at = to != nullptr ? static_cast<uint32_t>(to->position) : 0;
  site.size = n;
  const uint32_t allowed = disk.Allowed(FaultKind::kWrite, FaultKind::kShortWrite, FaultKind::kCutWrite, site);
  if (allowed == 0) {
    return 0;
  }
  if (to == nullptr) {
    return disk.writeSlot_(handle, buffer, allowed, disk.data_[2]);
  }
  if (!to->writable) {
    return kKrnIoFailed;
  }
  constexpr uint64_t kLargestFile = 1u << 24; // far beyond what these files grow to: a stray position is a failed write
  if (to->position + allowed > kLargestFile) {
    return 0;
  }
  FileBytes& bytes = disk.files_[to->file].bytes;
  const auto at = static_cast<size_t>(to->position);
  if (bytes.size() < at + allowed) {
    bytes.resize(at + allowed);
  }
  std::memcpy(bytes.data() + at, buffer, allowed);
  to->position += allowed;
  return allowed;
}

uint32_t FaultDisk::Seek(VxFileHandle handle, int32_t offset, uint32_t whence, void* self) {
  auto& disk = *static_cast<FaultDisk*>(self);
  Handle* const in = disk.Find(handle);
  FaultSite site = {FaultKind::kSeek, ""};
  site.file = in != nullptr ? in->file : kInMemory;
  site.whence = whence;
  int64_t target = offset;
  if (in != nullptr) {
    target += whence == kKrnSeekCurrent ? static_cast<int64_t>(in->position)
              : whence == kKrnSeekEnd   ? static_cast<int64_t>(disk.files_[in->file].bytes.size())
                                        : 0;
    site.at = static_cast<uint32_t>(target);
    site.size = whence == kKrnSeekCurrent && offset == 0 ? 0 : 1; // 0: only asks where the file stands
  }
  if (disk.Strikes(site) || ++disk.moves_ > kMostMoves) {
    return kKrnIoFailed;
  }
  if (in == nullptr) {
    return disk.seekSlot_(handle, offset, whence, disk.data_[3]);
  }
  if (target < 0 || target >= int64_t{kKrnIoFailed}) {
    return kKrnIoFailed;
  }
  in->position = static_cast<uint64_t>(target);
  return static_cast<uint32_t>(target);
}

int32_t FaultDisk::Close(VxFileHandle handle, void* self) {
  auto& disk = *static_cast<FaultDisk*>(self);
  Handle* const closed = disk.Find(handle);
  if (closed == nullptr) {
    return disk.closeSlot_(handle, disk.data_[4]);
  }
  disk.open_.erase(disk.open_.begin() + (closed - disk.open_.data()));
  return 0;
}

int32_t FaultDisk::Ask(size_t bytes, int32_t, const char* module, void* self) {
  FaultSite site = {FaultKind::kAllocation, ""};
  site.size = static_cast<uint32_t>(bytes);
  site.module = module;
  return static_cast<FaultDisk*>(self)->Strikes(site) ? 0 : 1;
}
