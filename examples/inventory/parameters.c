// The command line through the parameter functions of the library, which find a name in an array of name=value texts
// and read its value as a type. The parameters that this program knows are such an array, too.
#include "parameters.h"

#include <inttypes.h>
#include <stddef.h>
#include <string.h>

#include "qvsupt32.h"
#include "report.h"

enum {
  kMatchCase = 0,
  kDecimal = 10,
  kPatienceUnlessTold = 10000,
};

static const char kProgram[] = "inventory";

// Every name, with what stands in the usage for its value.
static char kLanguage[] = "lang=NAME";
static char kStore[] = "store=true";
static char kCorrupt[] = "corrupt=true";
static char kDeath[] = "die=WHERE";
static char kPatience[] = "wait=STEPS";
static char kRoom[] = "room=NAME";
char kSenderArgument[] = "role=sender";
static char *const kKnown[] = {kLanguage, kStore, kCorrupt, kDeath, kPatience, kRoom, kSenderArgument};
static const int32_t kKnownCount = sizeof(kKnown) / sizeof(kKnown[0]);

void explainUsage(FILE *stream)
{
  (void)fputs(
      "usage: inventory [NAME=VALUE...]\n"
      "\n"
      "Receives the facts of this machine from a second process, prints and answers them.\n"
      "\n"
      "  lang=NAME     the language: es, de, en_US, en_GB, fr, ja, ko, pt_BR, zh or zh_TW; that of LANG unless told\n"
      "  wait=STEPS    how long either process waits for the other, in steps of about a millisecond; 10000 unless "
      "told\n"
      "  store=true    keep chosen facts in inventory.ini and the run in history.cfg, both in the suite's directory\n"
      "  corrupt=true  damage the facts on the way: the receiver refuses them, the exit status is 1\n"
      "  die=locked    kill the second process when it has taken the mutex; the exit status is 1\n"
      "  die=written   kill it when it has written its block and not yet announced it; the exit status is 1\n"
      "  room=NAME     the name under which the processes meet, \"inventory\" unless told\n"
      "  role=sender   be the second process; the first starts it\n"
      "  role=syslog   stand in for the system log: print what /dev/log receives, until told to stop\n",
      stream);
}

static bool isUnderstood(int count, char *const *arguments, int index)
{
  const char *argument = arguments[index];
  if (SMIsValidParam(argument) == 0) {
    complain(kProgram, "\"%s\" is no NAME=VALUE", argument);
    return false;
  }
  // A parameter may stand for its name: what follows the name is not looked at.
  if (SMNVPGetParamIndexByUTF8Name(kKnownCount, kKnown, argument, kMatchCase) < 0) {
    complain(kProgram, "\"%s\" has an unknown name", argument);
    return false;
  }
  if (SMNVPGetParamIndexByUTF8Name(count, arguments, argument, kMatchCase) != index) {
    complain(kProgram, "\"%s\" gives a name for the second time", argument);
    return false;
  }
  return true;
}

static const char *describeRefusal(uint32_t status)
{
  switch (status) {
    case SM_STATUS_VALUE_TOO_LARGE:
      return "is too large";
    case SM_STATUS_VALUE_TOO_SMALL:
      return "is too small";
    case SM_STATUS_UNSUCCESSFUL:
      return "is no such name";
    default:
      return "is not of the kind that this parameter takes";
  }
}

// Reads a parameter as a value of a type; one that is not there leaves the value as it is.
static bool readTyped(int count, char *const *arguments, char *name, uint32_t type, void *value, uint32_t size)
{
  const uint32_t status = SMNVPUTF8ToTypeValue(count, arguments, name, kMatchCase, value, &size, type, kDecimal);
  if (status == SM_STATUS_SUCCESS || status == SM_STATUS_NOT_FOUND) {
    return true;
  }
  const char *text = SMNVPGetUTF8ParamValueByUTF8Name(count, arguments, name, kMatchCase);
  complain(kProgram, "%.*s: \"%s\" %s (status %" PRIu32 ")", (int)GetUTF8StrParamNameLen(name), name, text,
           describeRefusal(status), status);
  return false;
}

// Reads a parameter as a text; one that is not there leaves the text as it is.
static void readText(int count, char *const *arguments, const char *name, const char **text)
{
  const char *value = SMNVPGetUTF8ParamValueByUTF8Name(count, arguments, name, kMatchCase);
  if (value != NULL) {
    *text = value;
  }
}

static bool readDeath(int count, char *const *arguments, Death *death)
{
  const char *where = "never";
  readText(count, arguments, kDeath, &where);
  if (strcmp(where, "locked") == 0) {
    *death = kDeathInTheRoom;
  } else if (strcmp(where, "written") == 0) {
    *death = kDeathWithoutAnEvent;
  } else if (strcmp(where, "never") == 0) {
    *death = kNoDeath;
  } else {
    complain(kProgram, "die: \"%s\" is none of \"never\", \"locked\" and \"written\"", where);
    return false;
  }
  return true;
}

static bool readRole(int count, char *const *arguments, Role *role)
{
  const char *name = NULL;
  readText(count, arguments, kSenderArgument, &name);
  if (name == NULL) {
    *role = kReceiver;
  } else if (strcmp(name, SMNVPGetUTF8ParamValue(kSenderArgument)) == 0) {
    *role = kSender;
  } else if (strcmp(name, "syslog") == 0) {
    *role = kSystemLog;
  } else {
    complain(kProgram, "role: \"%s\" is neither \"sender\" nor \"syslog\"", name);
    return false;
  }
  return true;
}

bool readParameters(int count, char *const *arguments, Parameters *parameters)
{
  for (int i = 0; i < count; ++i) {
    if (!isUnderstood(count, arguments, i)) {
      return false;
    }
  }
  SMBool store = 0;
  SMBool corrupt = 0;
  *parameters = (Parameters){
      .language = SMGetLocalLanguageID(),
      .patience = kPatienceUnlessTold,
      .room = kProgram,
  };
  readText(count, arguments, kRoom, &parameters->room);
  const bool read = readTyped(count, arguments, kLanguage, SM_TYPE_LANGID, &parameters->language, sizeof(uint32_t)) &&
                    readTyped(count, arguments, kStore, SM_TYPE_BOOLEAN, &store, sizeof(store)) &&
                    readTyped(count, arguments, kCorrupt, SM_TYPE_BOOLEAN, &corrupt, sizeof(corrupt)) &&
                    readTyped(count, arguments, kPatience, SM_TYPE_U16, &parameters->patience, sizeof(uint16_t)) &&
                    readDeath(count, arguments, &parameters->death) && readRole(count, arguments, &parameters->role);
  parameters->store = store != 0;
  parameters->corrupt = corrupt != 0;
  return read;
}
