// The `sdo` commands: blocks that the library writes, blocks that it would not, and back from JSON.

#include "qvsupt32/os_objects.h"
#include "qvsupt32/sdo.h"
#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;

class SdoTest : public ToolTest {};

std::string binaryOf(SDOConfig *object)
{
  auto size = static_cast<uint32_t>(SDOConfigGetBinarySize(object));
  std::string bytes(size, '\0');
  EXPECT_EQ(SDOConfigToBinary(object, bytes.data(), &size), 0u);
  return bytes;
}

void add(SDOConfig *object, uint16_t id, uint8_t type, const std::string &value)
{
  EXPECT_EQ(SDOConfigAddData(object, id, type, value.data(), static_cast<uint32_t>(value.size()), 0), 0u);
}

TEST_F(SdoTest, ShowsTheTreeOfABlock)
{
  SDOConfig *const nested = SDOConfigAlloc();
  add(nested, 1, 3, std::string("fan\0", 4));
  SDOConfig *const element = SDOConfigAlloc();
  SDOConfig *const object = SDOConfigAlloc();
  add(object, 20, 7, "\x44\x33\x22\x11");
  add(object, 2, 1, "abcdef");
  add(object, 300, 200, std::string("\x01\xff\x00\x80 e", 6));
  add(object, 65533, 9, std::string(17, '\x05'));
  EXPECT_EQ(SDOConfigAddData(object, 9, 13, nested, sizeof nested, 0), 0u);
  EXPECT_EQ(SDOConfigAddData(object, 10, 0x40 | 29, &element, sizeof element, 0), 0u);
  put("a.sdo", binaryOf(object));
  SDOConfigFree(object);
  put("schema",
      R"({"fields":{"9":{"name":"disk","fields":{"1":{"name":"model\n","type":"number"}}},"20":{"type":"hex"}}})");
  const std::string json =
      "{\"fields\":[{\"id\":2,\"type\":1,\"size\":6,\"hex\":\"616263646566\"},"
      "{\"id\":9,\"type\":13,\"object\":{\"fields\":[{\"id\":1,\"type\":3,\"size\":4,\"hex\":\"66616e00\",\"text\":"
      "\"fan\","
      "\"number\":7233894}]}},{\"id\":10,\"type\":93,\"array\":[{\"fields\":[]}]},"
      "{\"id\":20,\"type\":7,\"size\":4,\"hex\":\"44332211\",\"number\":287454020},"
      "{\"id\":300,\"type\":200,\"size\":6,\"hex\":\"01ff00802065\"},"
      "{\"id\":65533,\"type\":9,\"size\":17,\"hex\":\"0505050505050505050505050505050505\"}]}\n";
  expectRows({
      {"qvctl sdo show a.sdo", 0,
       "2: type 1, size 6 \"abcdef\"\n9: type 13, object\n  1: type 3, size 4 \"fan\" = 7233894\n"
       "10: type 93, array of 1\n  [0]\n20: type 7, size 4 = 287454020\n300: type 200, size 6 hex 01ff00802065\n"
       "65533: type 9, size 17\n"
       "  0x00000000: 05 05 05 05:05 05 05 05:05 05 05 05:05 05 05 05    ................\n"
       "  0x00000010: 05                                                 .\n"},
      {"qvctl sdo show a.sdo --schema schema | head -5 | tail -4", 0,
       "9 disk: type 13, object\n  1 model\\n: type 3, size 4 = 7233894\n10: type 93, array of 1\n  [0]\n"},
      {"qvctl sdo show a.sdo --schema schema | grep ^20", 0, "20: type 7, size 4 hex 44332211\n"},
      {"qvctl sdo show --json - <a.sdo", 0, json.c_str()},
      {"qvctl sdo show a.sdo --json --schema schema | grep -o '\"id\":9,\"name\":\"disk\"'", 0,
       "\"id\":9,\"name\":\"disk\"\n"},
      {"qvctl sdo show a.sdo --json | qvctl sdo make | cmp - a.sdo", 0, ""},
      {"qvctl sdo check a.sdo", 0, "117\n"},
      {"(cat a.sdo; echo) | qvctl sdo check -", 0, "117\n", "qvctl: standard input: 1 byte after the block"},
      {"printf 'BADS\\0\\0\\10\\0' | qvctl sdo show - --json", 0, "{\"array\":[]}\n"},
      {"echo '{}' >bad && qvctl sdo show a.sdo --schema bad", 1, "", "qvctl: bad: a schema is"},
      {"qvctl sdo show none", 1, "", "qvctl: none: No such file"},
      {"qvctl sdo show", 2, "", "--shm"},
      {"qvctl sdo show a.sdo --shm x", 2, "", "--shm"},
  });
}

TEST_F(SdoTest, MakesBitByBitWhatItShows)
{
  SDOConfig *objects[] = {SDOConfigAlloc(), SDOConfigAlloc()};
  add(objects[0], 7, 0xFF, "value");
  uint32_t size = 1000;
  std::string array(size, '\0');
  EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 2, array.data(), &size), 0u);
  put("array", array.substr(0, size));
  SDOConfigFree(objects[1]);
  SDOConfig *deep = objects[0];  // as deep as a block can be
  while (SDOConfigGetBinarySize(deep) + 16 <= 65535) {
    SDOConfig *const around = SDOConfigAlloc();
    ASSERT_EQ(SDOConfigAddData(around, 1, 13, deep, 4, 0), 0u);
    deep = around;
  }
  put("deep", binaryOf(deep));
  SDOConfigFree(deep);
  expectRows(
      {{"for b in array deep; do qvctl sdo check $b | cmp - <(stat -c %s $b) && "
        "qvctl sdo show $b --json | qvctl sdo make | cmp - $b || echo $b; done",
        0, ""}});
}

TEST_F(SdoTest, MakesBlocksFromHandWrittenJson)
{
  put("a.json", R"({"fields":[{"id":9,"type":13,"object":{"fields":[{"id":2,"type":1,"text":"é"}]}},
    {"id":5,"type":7,"number":-2,"size":4},{"id":6,"type":1,"number":255,"size":1},
    {"id":7,"type":1,"number":18446744073709551615,"size":8,"text":"wins"},{"id":8,"type":1,"hex":"00FF","number":1}]})");
  expectRows({
      {"qvctl sdo make a.json >a.sdo && qvctl sdo show a.sdo", 0,
       "5: type 7, size 4 = 4294967294\n6: type 1, size 1 = 255\n7: type 1, size 5 \"wins\"\n8: type 1, size 2 = "
       "65280\n"
       "9: type 13, object\n  2: type 1, size 3 \"é\"\n"},
      {"echo '{\"fields\":[]}' | qvctl sdo make - | od -An -c", 0, "   B   O   D   S  \\0  \\0  \\b  \\0\n"},
  });
  uint32_t size = 4;
  uint8_t type = 0;
  int32_t value = 0;
  EXPECT_EQ(SDOBinaryGetDataByID(get("a.sdo").data(), 5, &type, &value, &size), 0u);
  EXPECT_EQ(value, -2);
  const struct {
    const char *fields;
    const char *reason;
  } rows[] = {
      {R"({"id":0,"type":1,"hex":"00"})", "field 0: IDs are 1 to 65533"},
      {R"({"id":65534,"type":1,"hex":"00"})", "field 65534: IDs are"},
      {R"({"id":1,"type":1,"hex":"00"},{"id":1,"type":2,"hex":"00"})", "field 1: is there twice"},
      {R"({"id":1,"type":0,"hex":"00"})", "no type"},
      {R"({"id":1,"type":12,"hex":"00"})", "no type of a field: 12"},
      {R"({"id":1,"type":1,"object":{"fields":[]}})", "type 1 is not that of an object"},
      {R"({"id":1,"type":13,"array":[]})", "not that of an array"},
      {R"({"id":1,"type":256,"hex":"00"})", "\"type\" is no number from 0 to 255"},
      {R"({"id":1,"type":1,"hex":""})", "has no value"},
      {R"({"id":1,"type":1,"hex":"00","size":2})", "\"size\""},
      {R"({"id":1,"type":1,"number":256,"size":1})", "does not fit into 1 bytes"},
      {R"({"id":1,"type":1,"number":1.5,"size":4})", "no whole number"},
      {R"({"id":1,"type":1,"number":1,"size":3})", "1, 2, 4 or 8"},
      {R"({"id":1,"type":1})", "has neither"},
      {R"(7)", "a field is"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.fields);
    const tool::Result result = run("qvctl sdo make", "{\"fields\":[" + std::string(row.fields) + "]}");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(row.reason), std::string::npos) << result.err;
  }
  expectRows({
      {"echo '{\"fields\":[' | qvctl sdo make", 1, "", "qvctl: standard input: no JSON"},
      {"echo 7 | qvctl sdo make", 1, "", "an object is"},
      {"printf %100000s | tr ' ' '[' | qvctl sdo make", 1, "", "no JSON"},
      {"printf '{\"fields\":[{\"id\":1,\"type\":1,\"text\":\"%065528d\"}]}' 0 | qvctl sdo make", 1, "",
       "more than 65535 bytes"},
  });
}

TEST_F(SdoTest, TellsWhatIsWrongAtWhichOffset)
{
  // Field 2 inline, field 5 with six bytes, field 9 nested and empty.
  const std::string good(
      "BODS\3\0\x2e\0"
      "\2\0\1\1ab\0\0"
      "\5\0\1\4\6\0\x10\0"
      "\x9\0\xc\4\x8\0\xe\0"
      "abcdef"
      "BODS\0\0\x8\0",
      46);
  const struct {
    size_t at;
    const char *bytes;
    const char *finding;
  } rows[] = {
      {0, "X", "offset 0: neither an object (BODS) nor an array of objects (BADS)\n"},
      {6, "\x07", "offset 6: a total size below that of the header: 7\n"},
      {6, "\x2f", "offset 6: a total size of 47, of which 46 bytes are there\n"},
      {4, "\xff", "offset 4: 255 entries, more than 46 bytes can hold\n"},
      {8, "\x06", "offset 16: field 5 after field 6\n"},
      {10, "\x0d", "offset 10: type 13, which only an object in memory has\n"},
      {11, "\x08", "offset 11: unknown flags: 8\noffset 13: a byte after an inline value\n"},
      {15, "x", "offset 15: a byte after an inline value\n"},
      {22, "\x0f",
       "offset 22: a value over another one or over the entries\noffset 32: 6 bytes before the value of field 9\n"},
      {20, "\x3c",
       "offset 20: a value that ends 46 bytes after the object\noffset 32: 6 bytes before the value of field 9\n"},
      {26, "\x1c", "offset 38: no array begins here (BADS)\n"},
      {38, "X", "offset 38: no object begins here (BODS)\n"},
      {44, "\x09", "offset 44: a total size of 9, of which 8 bytes are there\n"},
  };
  put("a.sdo", good);
  EXPECT_EQ(run("qvctl sdo check a.sdo").out, "46\n");
  for (const auto &row : rows) {
    SCOPED_TRACE(row.finding);
    std::string bad = good;
    bad.replace(row.at, 1, row.bytes);
    put("a.sdo", bad);
    const tool::Result result = run("qvctl sdo check a.sdo");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, row.finding);
    EXPECT_LE(run("qvctl sdo show a.sdo").status, 1);
  }
  for (const size_t size : {0u, 7u, 45u}) {
    put("a.sdo", good.substr(0, size));
    EXPECT_EQ(run("qvctl sdo check a.sdo --json | grep -c '\"ok\":false'").out, "1\n") << size;
  }
}

TEST_F(SdoTest, ReadsASegmentBesideItsOwner)
{
  OSSyncInfo *const segment = OSSharedMemCreate("inventory", 4096);
  ASSERT_NE(segment, nullptr);
  memcpy(OSSharedMemGetAddressPtr(segment), "BODS\0\0\x8\0", 8);
  expectRows({
      {"qvctl sdo show --shm inventory --json", 0, "{\"fields\":[]}\n", "qvctl: inventory: 4088 bytes after the block"},
      {"qvctl sdo check --shm inventory", 0, "8\n", "4088 bytes after"},
      {"qvctl sdo show --shm none", 1, "", "qvctl: none: not found (256, SM_STATUS_NOT_FOUND)"},
  });
  OSSharedMemFree(segment);
}

}  // namespace
