#include "tests/unit/platform/icconfig/faultydisk.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <random>
#include <vector>

namespace {

constexpr size_t kSector = 512;

struct SWrite {
  size_t offset;
  std::string bytes;
  bool isTruncation;
};

// One file of the disk, by path. Deletion drops it.
struct SFile {
  std::string durable;          // content as of the last sync
  std::vector<SWrite> pending;  // since then
  bool isDurable = false;       // the name itself would survive
};

void Overwrite(std::string& content, size_t offset, const std::string& bytes)
{
  if (content.size() < offset + bytes.size()) content.resize(offset + bytes.size(), '\0');
  content.replace(offset, bytes.size(), bytes);
}

void ApplyAll(SFile& file)
{
  for (const auto& write : file.pending) {
    if (write.isTruncation) {
      file.durable.resize(write.offset, '\0');
    } else {
      Overwrite(file.durable, write.offset, write.bytes);
    }
  }
  file.pending.clear();
}

}  // namespace

class CFaultyDisk::CImplementation {
 public:
  CImplementation() : mReal(sqlite3_vfs_find(nullptr)) {}

  // False when the operation must fail; `code` then says how.
  bool Begin(int errorCode, int& code)
  {
    ++mCount;
    if (mIsCut) {
      code = errorCode;
      return false;
    }
    if (mFault == EFault::ENone || mCount != mStrikeAt) return true;
    mHasStruck = true;
    switch (mFault) {
      case EFault::ENone:
        return true;
      case EFault::EFull:
        code = SQLITE_FULL;
        return false;
      case EFault::EError:
        code = errorCode;
        return false;
      case EFault::EPowerCut:
        Cut();
        code = errorCode;
        return false;
    }
    return true;
  }

  // Every write since the last sync is kept, lost or kept up to some sector.
  void Cut()
  {
    mIsCut = true;
    std::mt19937_64 random(mSeed);
    for (auto& entry : mFiles) {
      SFile& file = entry.second;
      std::vector<SWrite> kept;
      for (auto& write : file.pending) {
        const uint64_t fate = random() % 3;
        if (fate == 0) continue;
        if (fate == 1 && !write.isTruncation)
          write.bytes.resize(random() % (write.bytes.size() / kSector + 1) * kSector);
        kept.push_back(std::move(write));
      }
      if (!kept.empty()) file.isDurable = file.isDurable || random() % 2 == 0;
      file.pending = std::move(kept);
      ApplyAll(file);
    }
  }

  sqlite3_vfs* const mReal;
  sqlite3_vfs mVfs = {};
  std::map<std::string, SFile> mFiles;
  EFault mFault = EFault::ENone;
  uint64_t mStrikeAt = 0;
  uint64_t mSeed = 0;
  uint64_t mCount = 0;
  bool mHasStruck = false;
  bool mIsCut = false;
};

namespace {

using CDisk = CFaultyDisk::CImplementation;

// SQLite allocates it, with the real file behind.
struct SOpenFile {
  sqlite3_file base;
  CDisk* disk;
  SFile* file;  // null for files that are not tracked
  sqlite3_file* real;
};

SOpenFile& Self(sqlite3_file* file) { return *reinterpret_cast<SOpenFile*>(file); }
sqlite3_file* Real(sqlite3_file* file) { return Self(file).real; }

int Close(sqlite3_file* file) { return Real(file)->pMethods->xClose(Real(file)); }

int Read(sqlite3_file* file, void* buffer, int size, sqlite3_int64 offset)
{
  return Real(file)->pMethods->xRead(Real(file), buffer, size, offset);
}

int Write(sqlite3_file* file, const void* buffer, int size, sqlite3_int64 offset)
{
  SOpenFile& self = Self(file);
  const std::string bytes(static_cast<const char*>(buffer), static_cast<size_t>(size));
  // A write that the power cut interrupts may have reached the disk as well.
  if (self.file) self.file->pending.push_back({static_cast<size_t>(offset), bytes, false});
  int code = SQLITE_OK;
  if (!self.disk->Begin(SQLITE_IOERR_WRITE, code)) {
    if (self.file && !self.disk->mIsCut) self.file->pending.pop_back();
    return code;
  }
  return self.real->pMethods->xWrite(self.real, buffer, size, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size)
{
  SOpenFile& self = Self(file);
  int code = SQLITE_OK;
  if (!self.disk->Begin(SQLITE_IOERR_TRUNCATE, code)) return code;
  if (self.file) self.file->pending.push_back({static_cast<size_t>(size), "", true});
  return self.real->pMethods->xTruncate(self.real, size);
}

int Sync(sqlite3_file* file, int)
{
  SOpenFile& self = Self(file);
  int code = SQLITE_OK;
  if (!self.disk->Begin(SQLITE_IOERR_FSYNC, code)) return code;
  if (!self.file) return SQLITE_OK;
  ApplyAll(*self.file);
  self.file->isDurable = true;
  return SQLITE_OK;
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) { return Real(file)->pMethods->xFileSize(Real(file), size); }
int Lock(sqlite3_file* file, int level) { return Real(file)->pMethods->xLock(Real(file), level); }
int Unlock(sqlite3_file* file, int level) { return Real(file)->pMethods->xUnlock(Real(file), level); }
int CheckReserved(sqlite3_file* file, int* result)
{
  return Real(file)->pMethods->xCheckReservedLock(Real(file), result);
}
int Control(sqlite3_file* file, int op, void* arg) { return Real(file)->pMethods->xFileControl(Real(file), op, arg); }
int SectorSize(sqlite3_file*) { return static_cast<int>(kSector); }
// None of the promises that the real disk might make.
int Characteristics(sqlite3_file*) { return 0; }
int ShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** memory)
{
  return Real(file)->pMethods->xShmMap(Real(file), page, size, extend, memory);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags)
{
  return Real(file)->pMethods->xShmLock(Real(file), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) { Real(file)->pMethods->xShmBarrier(Real(file)); }
int ShmUnmap(sqlite3_file* file, int remove) { return Real(file)->pMethods->xShmUnmap(Real(file), remove); }

const sqlite3_io_methods kMethods = {
    2,        Close,         Read,    Write,      Truncate,        Sync,   FileSize, Lock,
    Unlock,   CheckReserved, Control, SectorSize, Characteristics, ShmMap, ShmLock,  ShmBarrier,
    ShmUnmap, nullptr,       nullptr};

CDisk& DiskOf(sqlite3_vfs* vfs) { return *static_cast<CDisk*>(vfs->pAppData); }

std::string ContentOf(sqlite3_file* real)
{
  sqlite3_int64 size = 0;
  real->pMethods->xFileSize(real, &size);
  std::string content(static_cast<size_t>(size), '\0');
  if (size > 0) real->pMethods->xRead(real, content.data(), static_cast<int>(size), 0);
  return content;
}

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags)
{
  CDisk& disk = DiskOf(vfs);
  auto* const self = new (file) SOpenFile{{nullptr}, &disk, nullptr, nullptr};
  self->real = reinterpret_cast<sqlite3_file*>(self + 1);
  const int code = disk.mReal->xOpen(disk.mReal, name, self->real, flags, outFlags);
  if (code != SQLITE_OK) return code;
  self->base.pMethods = &kMethods;
  if (!name) return code;
  const bool isKnown = disk.mFiles.count(name) != 0;
  self->file = &disk.mFiles[name];
  if (!isKnown) {
    self->file->durable = ContentOf(self->real);
    self->file->isDurable = !self->file->durable.empty();
  }
  return code;
}

int Delete(sqlite3_vfs* vfs, const char* name, int syncFolder)
{
  CDisk& disk = DiskOf(vfs);
  int code = SQLITE_OK;
  if (!disk.Begin(SQLITE_IOERR_DELETE, code)) return code;
  disk.mFiles.erase(name);
  return disk.mReal->xDelete(disk.mReal, name, syncFolder);
}

int Access(sqlite3_vfs* vfs, const char* name, int flags, int* result)
{
  return DiskOf(vfs).mReal->xAccess(DiskOf(vfs).mReal, name, flags, result);
}
int FullPath(sqlite3_vfs* vfs, const char* name, int size, char* out)
{
  return DiskOf(vfs).mReal->xFullPathname(DiskOf(vfs).mReal, name, size, out);
}

}  // namespace

CFaultyDisk::CFaultyDisk() : mImplementation(std::make_unique<CImplementation>())
{
  sqlite3_vfs& vfs = mImplementation->mVfs;
  vfs = *mImplementation->mReal;
  vfs.pNext = nullptr;
  vfs.zName = "faulty";
  vfs.szOsFile = static_cast<int>(sizeof(SOpenFile)) + mImplementation->mReal->szOsFile;
  vfs.pAppData = mImplementation.get();
  vfs.xOpen = Open;
  vfs.xDelete = Delete;
  vfs.xAccess = Access;
  vfs.xFullPathname = FullPath;
  sqlite3_vfs_register(&vfs, 1);
}

CFaultyDisk::~CFaultyDisk() { sqlite3_vfs_unregister(&mImplementation->mVfs); }

void CFaultyDisk::Arm(EFault fault, uint64_t n, uint64_t seed)
{
  mImplementation->mFault = fault;
  mImplementation->mStrikeAt = mImplementation->mCount + n;
  mImplementation->mSeed = seed;
  mImplementation->mHasStruck = false;
}

bool CFaultyDisk::HasStruck() const { return mImplementation->mHasStruck; }

uint64_t CFaultyDisk::GetOperationCount() const { return mImplementation->mCount; }

void CFaultyDisk::RestoreDurableState()
{
  for (const auto& entry : mImplementation->mFiles) {
    if (entry.second.isDurable) {
      std::ofstream(entry.first, std::ios::binary | std::ios::trunc) << entry.second.durable;
    } else {
      std::filesystem::remove(entry.first);
    }
  }
}
