// The export context: a per-call context on platforms that have one. Linux has none; the operations keep the calling
// pattern, and the one value is 0.

#include "base/alias.h"
#include "qvsupt32/frame.h"

SMExportContext origECI = 0;

void OSGetExportContext(SMExportContext *context)
{
  if (context != nullptr) {
    *context = 0;
  }
}

void OSSetExportContext(SMExportContext *, SMExportContext *) {}

void OSResetExportContext(SMExportContext *) {}

QV_ALIAS(SMGetExportContext, OSGetExportContext)
QV_ALIAS(SMSetExportContext, OSSetExportContext)
QV_ALIAS(SMResetExportContext, OSResetExportContext)
