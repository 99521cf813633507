/* A data object with a nested one, its flat binary form, and fields read from the block in place. */
#include <qvsupt32.h>
#include <stdio.h>
#include <stdlib.h>

/* Field IDs and types are the component's own numbers; only SDO_TYPE_CONFIG means something to the library. */
enum { FIELD_NAME = 1, FIELD_SPEED = 2, FIELD_SENSOR = 3, FIELD_READING = 4 };
enum { TYPE_TEXT = 1, TYPE_U32 = 2 };

static SDOConfig *make_fan(void)
{
  const uint32_t speed = 2400, reading = 41;
  SDOConfig *fan = SMSDOConfigAlloc(), *sensor = SMSDOConfigAlloc();
  if (SMSDOConfigAddData(sensor, FIELD_READING, TYPE_U32, &reading, sizeof(reading), 0) == SM_STATUS_SUCCESS &&
      SMSDOConfigAddData(fan, FIELD_NAME, TYPE_TEXT, "fan", sizeof("fan"), 0) == SM_STATUS_SUCCESS &&
      SMSDOConfigAddData(fan, FIELD_SPEED, TYPE_U32, &speed, sizeof(speed), 0) == SM_STATUS_SUCCESS &&
      SMSDOConfigAddData(fan, FIELD_SENSOR, SDO_TYPE_CONFIG, sensor, sizeof(void *), 0) == SM_STATUS_SUCCESS)
    return fan; /* which owns the sensor from here on */
  SMSDOConfigFree(sensor);
  SMSDOConfigFree(fan);
  return NULL;
}

int main(void)
{
  uint32_t size, total, length, speed = 0, room = sizeof(speed), reading = 0;
  const void *sensor;
  void *block;
  SDOConfig *fan = make_fan();
  if (fan == NULL)
    return 1;
  size = (uint32_t)SMSDOConfigGetBinarySize(fan);
  block = malloc(size);
  if (block == NULL || SMSDOConfigToBinary(fan, block, &size) != SM_STATUS_SUCCESS)
    return 1;
  SMSDOConfigFree(fan);
  printf("%u bytes, %d fields\n", size, SMSDOBinaryGetCount(block));

  /* Who gets a block from elsewhere checks it once. */
  if (SMSDOBinaryCheck(block, size, &total) != SM_STATUS_SUCCESS)
    return 1;
  if (SMSDOBinaryGetDataByID(block, FIELD_SPEED, NULL, &speed, &room) != SM_STATUS_SUCCESS)
    return 1;
  printf("name %s, speed %u\n", (const char *)SMSDOBinaryFindValue(block, total, FIELD_NAME, NULL, NULL), speed);
  sensor = SMSDOBinaryFindValue(block, total, FIELD_SENSOR, NULL, &length);
  room = sizeof(reading);
  if (sensor == NULL || SMSDOBinaryGetDataByID(sensor, FIELD_READING, NULL, &reading, &room) != SM_STATUS_SUCCESS)
    return 1;
  printf("sensor block of %u bytes, reading %u\n", length, reading);
  free(block);
  return 0;
}
