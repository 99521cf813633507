// What both sides agree on: the field IDs, the types of the values, and the names under which people see the fields.
//
// A field ID means the same on every level, so that one table can name them all, and keeps its meaning for good: new
// facts get new IDs. Numbers stand in the machine's byte order, since both sides run on one machine.
#pragma once

#include <stdint.h>

#include "qvsupt32.h"

// The type bytes are ours to choose, except for the low bits that mean nested objects. A typed value, which the library
// can write as text, has its type code there with a mark; type code 0 is none for an object.
enum {
  kTypeText = 1,  // UTF-8 with its terminator
  kTypedMark = 0x20,
  kTypeBoolean = kTypedMark | SM_TYPE_BOOLEAN,
  kTypeNumber32 = kTypedMark | SM_TYPE_U32,
  kTypeNumber64 = kTypedMark | SM_TYPE_U64,
  kTypeFraction = kTypedMark | SM_TYPE_DOUBLE,
  kTypeLanguage = kTypedMark | SM_TYPE_LANGID,
  kTypeTime = kTypedMark | SM_TYPE_TIME,
  kTypeObject = SDO_TYPE_CONFIG,
  kTypeObjectArray = SDO_TYPE_CONFIG | SDO_TYPE_ARRAY,
};

enum {
  kFieldHostName = 1,
  kFieldUptime = 2,
  kFieldKernel = 3,       // object
  kFieldProcessor = 4,    // object
  kFieldMemory = 5,       // object
  kFieldInterfaces = 6,   // array of objects
  kFieldFileSystems = 7,  // array of objects
  kFieldReceiver = 8,     // 0 when the sender builds the object; the receiver puts its process ID there
  kFieldLanguage = 9,
  kFieldCollected = 10,

  kFieldKernelName = 20,
  kFieldKernelRelease = 21,
  kFieldKernelVersion = 22,
  kFieldMachine = 23,

  kFieldProcessorModel = 30,
  kFieldProcessorsOnline = 31,
  kFieldLoad = 32,

  kFieldMemoryTotal = 40,
  kFieldMemoryFree = 41,
  kFieldMemoryAvailable = 42,
  kFieldSwapPresent = 43,
  kFieldSwapTotal = 44,
  kFieldSwapFree = 45,

  kFieldInterfaceName = 50,
  kFieldInterfaceIndex = 51,
  kFieldHardwareAddress = 52,
  kFieldInterfaceUp = 53,
  kFieldInterfaceMtu = 54,

  kFieldDevice = 60,
  kFieldMountPoint = 61,
  kFieldFileSystemType = 62,
  kFieldReadOnly = 63,
  kFieldTotalSize = 64,
  kFieldFreeSize = 65,
  kFieldAvailableSize = 66,

  kFieldChecksum = 70,  // this and the next stand in the answer, beside kFieldReceiver
  kFieldStatus = 71,
};

// The name of a field, null when this program does not know the ID.
const char *fieldName(uint16_t fieldID);

// The size of a typed value, 0 when the type byte is not one of those above.
uint32_t typedSize(uint8_t type);
