// Mounted file systems, from /proc/self/mountinfo and statvfs(3).
//
// A mount can be hidden by a later one: its path then leads elsewhere. So a path's sizes are taken for those of the
// mount only when the path still leads to it.
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "facts.h"
#include "lines.h"
#include "text.h"

// One line of mountinfo, which proc(5) describes. The texts lie in the line.
typedef struct Mount {
  uint64_t mountID;
  char *mountPoint;
  char *type;
  char *device;
} Mount;

static bool isOctal(char digit)
{
  return digit >= '0' && digit <= '7';
}

// Blanks, line feeds and backslashes in a path stand as a backslash and three octal digits.
static void unescape(char *text)
{
  char *end = text;
  while (*text != '\0') {
    if (text[0] == '\\' && isOctal(text[1]) && isOctal(text[2]) && isOctal(text[3])) {
      *end++ = (char)((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0'));
      text += 4;
    } else {
      *end++ = *text++;
    }
  }
  *end = '\0';
}

static bool parseMount(char *line, Mount *mount)
{
  enum { kMountID = 0, kMountPoint = 4, kFixedFields = 6 };
  char *cursor = line;
  char *fields[kFixedFields];
  for (size_t i = 0; i < kFixedFields; ++i) {
    fields[i] = strsep(&cursor, " ");
  }
  const char *separator = strsep(&cursor, " ");
  while (separator != NULL && strcmp(separator, "-") != 0) {  // optional fields stand before it
    separator = strsep(&cursor, " ");
  }
  mount->type = strsep(&cursor, " ");
  mount->device = strsep(&cursor, " ");
  if (mount->type == NULL || mount->device == NULL) {
    return false;
  }
  mount->mountID = strtoull(fields[kMountID], NULL, 10);
  mount->mountPoint = fields[kMountPoint];
  unescape(mount->mountPoint);
  unescape(mount->type);
  unescape(mount->device);
  return true;
}

static bool isVisible(const Mount *mount)
{
  struct statx status;
  if (statx(AT_FDCWD, mount->mountPoint, AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) != 0) {
    return false;
  }
  // Kernels before 5.8 do not tell the mount. There, paths are taken at their word.
  return (status.stx_mask & STATX_MNT_ID) == 0 || status.stx_mnt_id == mount->mountID;
}

static void examine(const Mount *mount, FileSystem *fileSystem)
{
  // Asking an automount point for its sizes would mount something there.
  struct statvfs status;
  if (strcmp(mount->type, "autofs") == 0 || !isVisible(mount) || statvfs(mount->mountPoint, &status) != 0) {
    return;
  }
  fileSystem->examined = true;
  fileSystem->readOnly = (status.f_flag & ST_RDONLY) != 0;
  fileSystem->totalSize = (uint64_t)status.f_blocks * status.f_frsize;
  fileSystem->freeSize = (uint64_t)status.f_bfree * status.f_frsize;
  fileSystem->availableSize = (uint64_t)status.f_bavail * status.f_frsize;
}

static bool appendFileSystem(Facts *facts, const Mount *mount)
{
  FileSystem *larger = reallocarray(facts->fileSystems, facts->fileSystemCount + 1, sizeof(*larger));
  if (larger == NULL) {
    return false;
  }
  facts->fileSystems = larger;
  FileSystem *fileSystem = &larger[facts->fileSystemCount++];
  *fileSystem = (FileSystem){
      .device = makeText(mount->device),
      .mountPoint = makeText(mount->mountPoint),
      .type = makeText(mount->type),
  };
  examine(mount, fileSystem);
  return fileSystem->device != NULL && fileSystem->mountPoint != NULL && fileSystem->type != NULL;
}

bool collectFileSystems(Facts *facts)
{
  LineReader reader;
  if (!openLines(&reader, "/proc/self/mountinfo")) {
    return true;
  }
  bool enough = true;
  char *line;
  while (enough && (line = nextLine(&reader)) != NULL) {
    Mount mount;
    if (parseMount(line, &mount)) {
      enough = appendFileSystem(facts, &mount);
    }
  }
  return closeLines(&reader) && enough;
}
