// The names of the fields, as people see them. Units stand here, since the values are bare numbers.
#include "schema.h"

#include <stddef.h>

typedef struct FieldName {
  uint16_t fieldID;
  const char *name;
} FieldName;

static const FieldName kNames[] = {
    {kFieldHostName, "host name"},
    {kFieldUptime, "uptime in seconds"},
    {kFieldKernel, "kernel"},
    {kFieldProcessor, "processor"},
    {kFieldMemory, "memory"},
    {kFieldInterfaces, "network interfaces"},
    {kFieldFileSystems, "file systems"},
    {kFieldReceiver, "receiver process"},
    {kFieldKernelName, "name"},
    {kFieldKernelRelease, "release"},
    {kFieldKernelVersion, "version"},
    {kFieldMachine, "machine"},
    {kFieldProcessorModel, "model"},
    {kFieldProcessorsOnline, "online"},
    {kFieldMemoryTotal, "total bytes"},
    {kFieldMemoryFree, "free bytes"},
    {kFieldMemoryAvailable, "available bytes"},
    {kFieldSwapPresent, "swap present"},
    {kFieldSwapTotal, "swap total bytes"},
    {kFieldSwapFree, "swap free bytes"},
    {kFieldInterfaceName, "name"},
    {kFieldInterfaceIndex, "index"},
    {kFieldHardwareAddress, "hardware address"},
    {kFieldInterfaceUp, "up"},
    {kFieldInterfaceMtu, "MTU in bytes"},
    {kFieldDevice, "device"},
    {kFieldMountPoint, "mount point"},
    {kFieldFileSystemType, "type"},
    {kFieldReadOnly, "read-only"},
    {kFieldTotalSize, "total bytes"},
    {kFieldFreeSize, "free bytes"},
    {kFieldAvailableSize, "available bytes"},
    {kFieldChecksum, "checksum"},
};

const char *fieldName(uint16_t fieldID)
{
  for (size_t i = 0; i < sizeof(kNames) / sizeof(kNames[0]); ++i) {
    if (kNames[i].fieldID == fieldID) {
      return kNames[i].name;
    }
  }
  return NULL;
}
