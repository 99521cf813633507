// The names of the fields, as people see them, and the sizes of the types. Units stand in the names, since the values
// are bare numbers.
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
    {kFieldLanguage, "language"},
    {kFieldCollected, "collected"},
    {kFieldKernelName, "name"},
    {kFieldKernelRelease, "release"},
    {kFieldKernelVersion, "version"},
    {kFieldMachine, "machine"},
    {kFieldProcessorModel, "model"},
    {kFieldProcessorsOnline, "online"},
    {kFieldLoad, "load of the last minute"},
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
    {kFieldStatus, "status"},
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

uint32_t typedSize(uint8_t type)
{
  switch (type) {
    case kTypeBoolean:
      return sizeof(SMBool);
    case kTypeNumber32:
    case kTypeLanguage:
      return sizeof(uint32_t);
    case kTypeNumber64:
      return sizeof(uint64_t);
    case kTypeFraction:
      return sizeof(double);
    case kTypeTime:
      return sizeof(int32_t);
    default:
      return 0;
  }
}
