/* A key=value file, in which a key may occur several times: read it, change one occurrence, add one, remove one.
 *
 * usage: key_value FILE */
#include <qvsupt32.h>
#include <stdio.h>

static int show(const char *path)
{
  uint32_t count = 0, i;
  CFGUKeyValueEntry *entries = SMCFGGetKeyValueEntries(path, &count);
  for (i = 0; i < count; ++i)
    printf("  %s = %s\n", entries[i].key, entries[i].value);
  SMCFGFreeKeyValueEntries(entries, count);
  return count != 0;
}

static int set(const char *path, const char *key, const char *value, uint32_t occurrence)
{
  const uint32_t status = SMCFGSetKeyValue(path, key, value, occurrence);
  if (status != SM_STATUS_SUCCESS)
    fprintf(stderr, "%s: %s\n", path, SMStatusText(status));
  return status == SM_STATUS_SUCCESS;
}

int main(int argc, char **argv)
{
  FILE *file;
  if (argc != 2) {
    fprintf(stderr, "usage: key_value FILE\n");
    return 2;
  }
  /* The file has to exist; the library rewrites it, and leaves every other line as it is. */
  file = fopen(argv[1], "w");
  if (file == NULL || fputs("# where events go\nserver = alpha\nserver = beta\nretries=3\n", file) < 0 ||
      fclose(file) != 0)
    return 1;

  puts("before");
  if (!show(argv[1]))
    return 1;
  if (!set(argv[1], "server", "gamma", 1) || /* the second server */
      !set(argv[1], "server", "delta", 2) || /* one more: the next occurrence */
      !set(argv[1], "retries", NULL, 0))     /* no value: the line goes */
    return 1;
  puts("after");
  return show(argv[1]) ? 0 : 1;
}
