// The layout of every public record on i386, which programs and libraries of other languages were built with: a field that
// moves fails the build. Each field of each record is named here; scripts/check_headers looks, and compiles this file once
// more with every attribute taken away.
#include <qvsupt32.h>
#include <stddef.h>

#ifdef __i386__

#define QV_FIELD(record, field, offset) \
  static_assert(offsetof(record, field) == (offset), "the offset of " #record "." #field)
#define QV_RECORD(record, size) static_assert(sizeof(record) == (size), "the size of " #record)

QV_FIELD(SMRedBlackTreeNode, left, 0);
QV_FIELD(SMRedBlackTreeNode, right, 4);
QV_FIELD(SMRedBlackTreeNode, parent, 8);
QV_FIELD(SMRedBlackTreeNode, data, 12);
QV_FIELD(SMRedBlackTreeNode, color, 16);
QV_RECORD(SMRedBlackTreeNode, 20);

QV_FIELD(SLListEntry, next, 0);
QV_FIELD(SLListEntry, data, 4);
QV_RECORD(SLListEntry, 8);

QV_FIELD(SLList, head, 0);
QV_FIELD(SLList, tail, 4);
QV_RECORD(SLList, 8);

QV_FIELD(DLListEntry, next, 0);
QV_FIELD(DLListEntry, previous, 4);
QV_FIELD(DLListEntry, data, 8);
QV_RECORD(DLListEntry, 12);

QV_FIELD(DLList, head, 0);
QV_FIELD(DLList, tail, 4);
QV_RECORD(DLList, 8);

QV_FIELD(SSUCS2Str, pStr, 0);
QV_FIELD(SSUCS2Str, strBufSize, 4);
QV_FIELD(SSUCS2Str, strLen, 8);
QV_RECORD(SSUCS2Str, 12);

QV_FIELD(SSUTF8Str, pStr, 0);
QV_FIELD(SSUTF8Str, strBufSize, 4);
QV_FIELD(SSUTF8Str, strLen, 8);
QV_RECORD(SSUTF8Str, 12);

QV_FIELD(RFC1321Context, bitCount, 0);
QV_FIELD(RFC1321Context, state, 8);
QV_FIELD(RFC1321Context, bufferedCount, 24);
QV_FIELD(RFC1321Context, digest, 28);
QV_FIELD(RFC1321Context, buffer, 44);
QV_RECORD(RFC1321Context, 108);

QV_FIELD(OSSyncInfo, kind, 0);
QV_FIELD(OSSyncInfo, name, 4);
QV_RECORD(OSSyncInfo, 8);

QV_FIELD(OSThread, routine, 0);
QV_FIELD(OSThread, argument, 4);
QV_FIELD(OSThread, thread, 8);
QV_FIELD(OSThread, context, 12);
QV_RECORD(OSThread, 16);

QV_FIELD(SMKnownProduct, productName, 0);
QV_FIELD(SMKnownProduct, productID, 4);
QV_RECORD(SMKnownProduct, 8);

QV_FIELD(SMInstallPath, installPath, 0);
QV_FIELD(SMInstallPath, installPathSize, 256);
QV_FIELD(SMInstallPath, productID, 260);
QV_RECORD(SMInstallPath, 264);

QV_FIELD(SDOConfigEntry, dataSize, 0);
QV_FIELD(SDOConfigEntry, fieldID, 4);
QV_FIELD(SDOConfigEntry, type, 6);
QV_FIELD(SDOConfigEntry, reserved, 7);
QV_RECORD(SDOConfigEntry, 8);

QV_FIELD(SDOConfigQuery, matched, 0);
QV_FIELD(SDOConfigQuery, counter, 4);
QV_FIELD(SDOConfigQuery, targetIndex, 8);
QV_FIELD(SDOConfigQuery, fieldID, 12);
QV_FIELD(SDOConfigQuery, kind, 14);
QV_RECORD(SDOConfigQuery, 16);

QV_FIELD(SDOBinaryGenerator, nextEntry, 0);
QV_FIELD(SDOBinaryGenerator, nextValue, 4);
QV_FIELD(SDOBinaryGenerator, runningTotal, 8);
QV_RECORD(SDOBinaryGenerator, 12);

QV_FIELD(CFGUKeyValueEntry, key, 0);
QV_FIELD(CFGUKeyValueEntry, value, 4);
QV_RECORD(CFGUKeyValueEntry, 8);

#endif
