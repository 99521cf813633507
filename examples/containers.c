/* A tour of the containers: a tree in the order of the caller's keys, a list, and a table that hands out numbers. They
 * hold the caller's pointers, and copy and free nothing. */
#include <qvsupt32.h>
#include <stdio.h>
#include <string.h>

typedef struct Drive {
  const char *name;
  uint32_t slot;
} Drive;

/* Orders by slot: negative when the key ranks before the datum. A tree calls it to insert and to find. */
static int32_t by_slot(void *key, void *datum)
{
  const uint32_t slot = *(const uint32_t *)key;
  const uint32_t other = ((const Drive *)datum)->slot;
  return slot < other ? -1 : slot > other;
}

/* A walk goes on while its callback returns anything but 0. */
static int32_t print_drive(void *count, void *datum)
{
  const Drive *drive = (const Drive *)datum;
  printf("  %u. slot %u: %s\n", ++*(unsigned *)count, drive->slot, drive->name);
  return 1;
}

int main(void)
{
  Drive drives[] = {{"gamma", 7}, {"alpha", 1}, {"beta", 4}};
  uint32_t table[8], word, bit, id;
  SMRedBlackTreeNode *tree, *found;
  SLList waiting;
  unsigned count = 0, i;

  puts("tree");
  SMRedBlackTreeAttach(&tree);
  for (i = 0; i < 3; ++i) {
    if (SMRedBlackTreeDataInsert(&tree, &drives[i], &drives[i].slot, by_slot) != SM_STATUS_SUCCESS)
      return 1;
  }
  SMRedBlackTreeDataWalk(tree, &count, print_drive, SM_TREE_WALK_ASCENDING);
  found = SMRedBlackTreeNodeFind(tree, &drives[2].slot, by_slot);
  printf("  slot 4 holds %s\n", found == NULL ? "nothing" : ((const Drive *)found->data)->name);
  SMRedBlackTreeDelete(&tree, NULL, NULL); /* the nodes; the drives are the caller's */

  puts("list");
  SMSLListInitNoAlloc(&waiting);
  for (i = 0; i < 2; ++i) {
    /* An entry has a data area of its own, as large as asked for. */
    SLListEntry *entry = SMSLListEntryAlloc(sizeof(Drive));
    if (entry == NULL)
      return 1;
    memcpy(entry->data, &drives[i], sizeof(Drive));
    SMSLListInsertEntryAtTail(&waiting, entry);
  }
  while (!SMSLListIsEmpty(&waiting)) {
    SLListEntry *entry = SMSLListRemoveEntryAtHead(&waiting);
    printf("  %s\n", ((const Drive *)entry->data)->name);
    SMSLListEntryFree(entry);
  }

  puts("numbers");
  SMClearHashTable(table, sizeof(table));
  for (i = 0; i < 4; ++i)
    SMAcquireHashID(table, sizeof(table)); /* 1, 2, 3, 4 */
  SMReleaseHashID(table, sizeof(table), 2);
  for (id = SMFindFirstHashID(table, sizeof(table), &word, &bit); id != 0;
       id = SMFindNextHashID(table, sizeof(table), &word, &bit))
    printf("  %u is in use\n", id);
  printf("  %u is handed out next\n", SMAcquireHashID(table, sizeof(table)));
  return 0;
}
