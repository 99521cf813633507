// The C++ header as a component uses it: owners release once, typed reads refuse what has another size, statuses keep
// their numbers, and units of both language modes meet in one program.

#include <array>
#include <qvsupt32/qvsupt32.hpp>

#include "support/test.h"

/// In a unit of the newer language mode, where results are std::expected: a setting and what became of it.
std::string settingInOtherMode(const char *path);

namespace {

using namespace support;

namespace qv = qvsupt32;
using qv::status;

constexpr std::uint8_t kText = 1;
constexpr std::uint8_t kNumber = 2;

class Cpp : public Scratch {};

qv::object objectWithName(const char *name)
{
  qv::object made = *qv::object::create();
  EXPECT_EQ(made.add_text(1, kText, name), status::success);
  return made;
}

TEST_F(Cpp, StatusesAreErrorCodes)
{
  const std::error_code code = status::no_memory;
  EXPECT_EQ(code.value(), 272);
  EXPECT_STREQ(code.category().name(), "qvsupt32");
  EXPECT_EQ(code.message(), SMStatusText(272));
  EXPECT_EQ(code, std::errc::not_enough_memory);
  EXPECT_NE(std::error_code(status::not_found), std::errc::not_enough_memory);
  EXPECT_FALSE(std::error_code(status::success));
  EXPECT_EQ(qv::to_status(std::int32_t{-1}), status::unsuccessful);
}

TEST_F(Cpp, ObjectsBecomeBlocksAndAreReadInPlace)
{
  qv::object root = objectWithName("fan");
  EXPECT_EQ(root.add(2, kNumber, std::uint32_t{2400}), status::success);
  EXPECT_EQ(root.add(2, kNumber, std::uint16_t{1}), status::already_exists);
  EXPECT_EQ(root.add(3, kNumber, std::uint64_t{1} << 40), status::success);
  EXPECT_EQ(root.add(3, kNumber, std::uint64_t{7}, qv::replace::yes), status::success);
  qv::object sensor = objectWithName("sensor");
  EXPECT_EQ(root.add_object(2, std::move(sensor)), status::already_exists);
  ASSERT_NE(sensor.get(), nullptr) << "a failed add leaves the object with its owner";
  EXPECT_EQ(root.add_object(9, std::move(sensor)), status::success);
  EXPECT_EQ(sensor.get(), nullptr);
  std::array<qv::object, 2> slots = {objectWithName("a"), objectWithName("b")};
  EXPECT_EQ(root.add_objects(10, slots), status::success);
  EXPECT_EQ(slots[1].get(), nullptr);

  EXPECT_EQ(root.count(), 5u);
  EXPECT_EQ(root.find<std::uint64_t>(3).value_or(0), 7u);
  EXPECT_EQ(root.find<std::uint16_t>(2).error(), status::bad_data_size);
  EXPECT_EQ(root.find<std::uint64_t>(2).error(), status::bad_data_size);
  EXPECT_EQ(root.find<std::uint32_t>(77).error(), status::not_found);
  EXPECT_EQ(root.text(1).value_or("?"), "fan");

  const auto block = root.to_block();
  ASSERT_TRUE(block);
  std::vector<std::byte> received(block->bytes().begin(), block->bytes().end());
  received.resize(received.size() + 100);  // what came after it in a buffer
  const auto view = qv::block_view::checked(received);
  ASSERT_TRUE(view);
  EXPECT_EQ(view->bytes().size(), block->bytes().size());
  EXPECT_EQ(view->count(), 5u);
  EXPECT_EQ(view->find<std::uint32_t>(2), 2400u);
  EXPECT_EQ(view->find<std::uint16_t>(2), std::nullopt);
  EXPECT_EQ(view->text(1), "fan");
  EXPECT_EQ(view->text(2), std::nullopt);
  EXPECT_EQ(view->nested(9)->text(1), "sensor");
  EXPECT_FALSE(view->nested(1));
  EXPECT_FALSE(view->nested(10)) << "an array is no nested block";

  const auto again = view->decode();
  ASSERT_TRUE(again);
  EXPECT_TRUE(std::ranges::equal(again->to_block()->bytes(), block->bytes()));

  EXPECT_EQ(root.remove(9), status::success);
  EXPECT_EQ(root.remove(9), status::not_found);
  EXPECT_EQ(root.remove(0), status::invalid_parameter) << "not the entry at index 0";
  EXPECT_EQ(root.count(), 4u);
}

TEST_F(Cpp, BlocksFromElsewhereAreRefusedNotFollowed)
{
  EXPECT_EQ(qv::block_view::checked({}).error(), status::invalid_parameter);
  EXPECT_EQ(qv::block_view().count(), 0u);
  EXPECT_EQ(qv::block_view().find<int>(1), std::nullopt);
  const auto block = objectWithName("sensor").to_block();
  ASSERT_TRUE(block);
  for (std::size_t size = 0; size < block->bytes().size(); ++size) {
    // A copy of its own size, so that a sanitizer sees a read beyond it.
    const std::vector<std::byte> cut(block->bytes().begin(),
                                     block->bytes().begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(qv::block_view::checked(cut)) << size;
    EXPECT_FALSE(qv::block_view(cut).text(1)) << size;
    EXPECT_FALSE(qv::block_view(cut).decode()) << size;
    EXPECT_LE(qv::block_view(cut).count(), 1u) << size;
  }
}

TEST_F(Cpp, TextsAreConvertedOrRefused)
{
  EXPECT_EQ(qv::narrow(u"L\u00FCfter \U0001F300").value_or("?"),
            "L\xC3\xBC"
            "fter \xF0\x9F\x8C\x80");
  EXPECT_EQ(qv::widen(std::string("L\xC3\xBC"
                                  "fter"))
                .value_or(u"?"),
            u"L\u00FCfter");
  EXPECT_EQ(qv::widen("").value_or(u"?"), u"");
  const char16_t half[] = {0xD800, 0};
  EXPECT_EQ(qv::narrow(half).error(), status::bad_type);
  EXPECT_EQ(qv::widen("\x80").error(), status::bad_type);
  EXPECT_EQ(qv::escape_xml(u"a<b&\"c\"").value_or(u"?"), u"a&lt;b&amp;&quot;c&quot;");
  EXPECT_EQ(qv::escape_xml(nullptr).error(), status::invalid_parameter);
}

template <class T>
void expectRoundTrip(qv::ini_file &file, const char *key, const T &value)
{
  EXPECT_EQ(file.set("s", key, value), status::success) << key;
  const auto read = file.get<T>("s", key);
  ASSERT_TRUE(read) << key << ": " << qv::to_text(read.error());
  EXPECT_EQ(*read, value) << key;
}

TEST_F(Cpp, SettingsKeepTheirTypes)
{
  qv::ini_file file(path("settings.ini"));
  EXPECT_EQ(file.get<bool>("s", "b").error(), status::file_open_failed);
  EXPECT_EQ(file.get_or<std::int32_t>("s", "n", -5).value_or(0), -5);
  expectRoundTrip(file, "b", true);
  expectRoundTrip(file, "u32", std::uint32_t{4294967295u});
  expectRoundTrip(file, "s32", std::int32_t{-2147483647 - 1});
  expectRoundTrip(file, "u64", std::uint64_t{18446744073709551615u});
  expectRoundTrip(file, "s64", std::int64_t{-9223372036854775807 - 1});
  expectRoundTrip(file, "d64", 0.25);
  expectRoundTrip(file, "text", std::string(8192, 'x'));
  expectRoundTrip(file, "empty", std::string());
  expectRoundTrip(file, "wide", std::u16string(u"L\u00FCfter"));
  expectRoundTrip(file, "bytes", std::vector<std::byte>(1638, std::byte{0xA5}));
  EXPECT_EQ(file.set("s", "text", std::string(8193, 'x')), status::bad_data_size);
  EXPECT_EQ(file.set("s", "wide", std::u16string(819, u'x')), status::bad_data_size);
  EXPECT_EQ(file.get_or<std::uint32_t>("s", "absent", 9).value_or(0), 9u);
  EXPECT_EQ(file.unset("s", "u32"), status::success);
  EXPECT_EQ(file.get<std::uint32_t>("s", "u32").error(), status::key_not_found);
  EXPECT_EQ(file.unset("s", nullptr), status::bad_argument) << "not the whole section";
  EXPECT_EQ(file.get<bool>("s", "b").value_or(false), true);
  EXPECT_EQ(file.unset_section("s"), status::success);
  EXPECT_EQ(file.get<bool>("s", "b").error(), status::section_not_found);

  put(path("malformed.ini"), "[s\n");
  EXPECT_EQ(qv::ini_file(path("malformed.ini")).get_or<std::uint32_t>("s", "k", 1).error(), status::bad_ini_file);
}

TEST_F(Cpp, KeyValuesAreFoundByOccurrence)
{
  const std::string file = path("values");
  EXPECT_TRUE(qv::key_values::load(file.c_str()).entries().empty());
  EXPECT_EQ(qv::key_values::set(file.c_str(), "a", "1"), status::file_not_opened);
  put(file, "a=1\nb=2\na=3\n");
  EXPECT_EQ(qv::key_values::set(file.c_str(), "a", "4", 2), status::success);
  EXPECT_EQ(qv::key_values::set(file.c_str(), "b", nullptr), status::success);
  const auto loaded = qv::key_values::load(file.c_str());
  EXPECT_EQ(loaded.entries().size(), 3u);
  EXPECT_EQ(loaded.find("a", 2), "4");
  EXPECT_EQ(loaded.find("a", 3), std::nullopt);
  EXPECT_EQ(loaded.find("b"), std::nullopt);
}

TEST_F(Cpp, HandlesCloseAndLeaveWhatOthersUse)
{
  auto memory = qv::shared_memory::create("cpp-test", 100);
  auto guard = qv::mutex::create("cpp-test");
  auto count = qv::semaphore::create("cpp-test-count", 1);
  auto ready = qv::event::create("cpp-test-ready", qv::event::reset_mode::automatic, true);
  ASSERT_TRUE(memory && guard && count && ready);
  EXPECT_EQ(memory->bytes().size(), 100u);
  EXPECT_EQ(qv::mutex::open("cpp-test-none").error(), status::unsuccessful);

  Child other([](Child::Inside &inside) {
    auto theirs = qv::mutex::open("cpp-test");
    auto segment = qv::shared_memory::open("cpp-test");
    auto counted = qv::semaphore::open("cpp-test-count");
    auto event = qv::event::open("cpp-test-ready");
    const bool locked = theirs && theirs->lock(0).has_value();
    inside.report({theirs.has_value(), segment.has_value(), locked, counted && counted->acquire(0) == status::success,
                   event && event->wait(0) == status::success});
  });
  EXPECT_EQ(other.report(), "1 1 1 1 1\n") << "and each was closed, not removed, at the end";
  ASSERT_TRUE(qv::mutex::open("cpp-test"));
  EXPECT_EQ(count->acquire(0), status::timeout);
  EXPECT_EQ(ready->wait(0), status::timeout);
  {
    auto second = qv::mutex::open("cpp-test");
    const auto held = guard->lock();
    ASSERT_TRUE(held);
    EXPECT_EQ(second->lock(0).error(), status::timeout);
  }
  EXPECT_TRUE(guard->lock(0)) << "the scope unlocked it";

  memory->remove();
  guard->remove();
  count->remove();
  ready->remove();
  EXPECT_FALSE(qv::shared_memory::open("cpp-test"));
  EXPECT_FALSE(qv::mutex::open("cpp-test"));
  EXPECT_FALSE(qv::semaphore::open("cpp-test-count"));
  EXPECT_FALSE(qv::event::open("cpp-test-ready"));
}

TEST_F(Cpp, TheFileLockEndsWithItsScope)
{
  const auto lockedElsewhere = [] {
    Child other([](Child::Inside &inside) {
      const auto theirs = qv::file_lock::acquire(false);
      inside.report({!theirs && theirs.error() == status::lock_failed});
    });
    return other.report();
  };
  {
    auto held = qv::file_lock::acquire();
    ASSERT_TRUE(held);
    const qv::file_lock moved = std::move(*held);
    EXPECT_EQ(lockedElsewhere(), "1\n");
  }
  EXPECT_EQ(lockedElsewhere(), "0\n");
}

TEST_F(Cpp, UnitsOfBothLanguageModesMeet)
{
  EXPECT_EQ(settingInOtherMode(path("mode.ini").c_str()), "30; SM_STATUS_KEY_NOT_FOUND");
}

}  // namespace
