// qvsupt32 for C++20: owners, typed reads and one status type over the C interface. Header-only.
//
// Nothing here throws on its own account: a call that can fail returns a status, or a result that holds a value or a
// status. std::string, std::u16string and std::vector are used where a value of unknown length is returned; without
// memory they do what they always do. Compiles with -fno-exceptions and -fno-rtti.
//
// Each class owns what its name says and releases it at the end of its scope; moved-from objects own nothing. Contracts
// that are not repeated here (units, limits, threads) are those of the C functions that are named.
//
// A unit that has std::expected uses it for results. The names lie in an inline namespace for each of the two forms, so
// that C++20 and C++23 units can be linked into one program. Since 4.1.
#ifndef QVSUPT32_HPP
#define QVSUPT32_HPP

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>
#include <version>

#if defined(__cpp_lib_expected) && __cpp_lib_expected >= 202202L
#include <expected>
#define QVSUPT32_RESULT_NAMESPACE with_expected
#else
#define QVSUPT32_RESULT_NAMESPACE with_result
#endif

#include "../qvsupt32.h"

namespace qvsupt32 {

// Statuses ------------------------------------------------------------------------------------------------------------

/// The statuses of the library, by the numbers of types.h.
enum class [[nodiscard]] status : std::uint32_t{
    success = SM_STATUS_SUCCESS,
    unsuccessful = SM_STATUS_UNSUCCESSFUL,
    not_supported = SM_STATUS_NOT_SUPPORTED,
    bad_argument = SM_STATUS_BAD_ARGUMENT,
    timeout = SM_STATUS_TIMEOUT,
    file_open_failed = SM_STATUS_FILE_OPEN_FAILED,
    chdir_failed = SM_STATUS_CHDIR_FAILED,
    lock_failed = SM_STATUS_LOCK_FAILED,
    index_out_of_range = SM_STATUS_INDEX_OUT_OF_RANGE,
    buffer_too_small = SM_STATUS_BUFFER_TOO_SMALL,
    not_loaded = SM_STATUS_NOT_LOADED,
    limit_exceeded = SM_STATUS_LIMIT_EXCEEDED,
    not_found = SM_STATUS_NOT_FOUND,
    bad_type = SM_STATUS_BAD_TYPE,
    already_exists = SM_STATUS_ALREADY_EXISTS,
    file_not_opened = SM_STATUS_FILE_NOT_OPENED,
    bad_ini_file = SM_STATUS_BAD_INI_FILE,
    section_not_found = SM_STATUS_SECTION_NOT_FOUND,
    key_not_found = SM_STATUS_KEY_NOT_FOUND,
    bad_data_size = SM_STATUS_BAD_DATA_SIZE,
    file_replace_failed = SM_STATUS_FILE_REPLACE_FAILED,
    invalid_parameter = SM_STATUS_INVALID_PARAMETER,
    no_memory = SM_STATUS_NO_MEMORY,
    value_too_large = SM_STATUS_VALUE_TOO_LARGE,
    value_too_small = SM_STATUS_VALUE_TOO_SMALL,
};

/// The status that a C function returned, signed results included (-1 is unsuccessful).
template <std::integral Number>
constexpr status to_status(Number number) noexcept
{
  return static_cast<status>(static_cast<std::uint32_t>(number));
}

/// One line of English, as SMStatusText.
inline const char *to_text(status s) noexcept
{
  return SMStatusText(static_cast<std::uint32_t>(s));
}

/// The category of the library's statuses; messages are those of SMStatusText.
inline const std::error_category &status_category() noexcept
{
  class category final : public std::error_category {
   public:
    const char *name() const noexcept override { return "qvsupt32"; }
    std::string message(int number) const override { return SMStatusText(static_cast<std::uint32_t>(number)); }
    std::error_condition default_error_condition(int number) const noexcept override
    {
      switch (to_status(number)) {
        case status::timeout:
          return std::errc::timed_out;
        case status::no_memory:
          return std::errc::not_enough_memory;
        case status::invalid_parameter:
        case status::bad_argument:
          return std::errc::invalid_argument;
        case status::lock_failed:
          return std::errc::resource_unavailable_try_again;
        default:
          return {number, *this};
      }
    }
  };
  static const category instance;
  return instance;
}

inline std::error_code make_error_code(status s) noexcept
{
  return {static_cast<int>(static_cast<std::uint32_t>(s)), status_category()};
}

inline namespace QVSUPT32_RESULT_NAMESPACE {

#if defined(__cpp_lib_expected) && __cpp_lib_expected >= 202202L

/// A value, or the status that there is none.
template <class T>
using result = std::expected<T, status>;

using failure = std::unexpected<status>;

#else

/// A status on its way into a result.
class failure {
 public:
  explicit constexpr failure(status s) noexcept : status_(s) {}
  constexpr status error() const noexcept { return status_; }

 private:
  status status_;
};

/// A value, or the status that there is none: the part of std::expected that cannot throw.
template <class T>
class [[nodiscard]] result {
 public:
  constexpr result(T value) noexcept(std::is_nothrow_move_constructible_v<T>)
      : content_(std::in_place_index<0>, std::move(value))
  {
  }
  constexpr result(failure f) noexcept : content_(std::in_place_index<1>, f.error()) {}

  constexpr bool has_value() const noexcept { return content_.index() == 0; }
  constexpr explicit operator bool() const noexcept { return has_value(); }

  /// Only where has_value().
  constexpr T &operator*() &noexcept { return *std::get_if<0>(&content_); }
  constexpr const T &operator*() const &noexcept { return *std::get_if<0>(&content_); }
  constexpr T &&operator*() &&noexcept { return std::move(*std::get_if<0>(&content_)); }
  constexpr T *operator->() noexcept { return std::get_if<0>(&content_); }
  constexpr const T *operator->() const noexcept { return std::get_if<0>(&content_); }

  /// Only where not has_value().
  constexpr status error() const noexcept { return *std::get_if<1>(&content_); }

  template <class U>
  constexpr T value_or(U &&other) const &
  {
    return has_value() ? **this : static_cast<T>(std::forward<U>(other));
  }
  template <class U>
  constexpr T value_or(U &&other) &&
  {
    return has_value() ? *std::move(*this) : static_cast<T>(std::forward<U>(other));
  }

 private:
  std::variant<T, status> content_;
};

#endif

// Memory and text -----------------------------------------------------------------------------------------------------

struct free_memory {
  void operator()(void *block) const noexcept { SMFreeMem(block); }
};

/// The owner of a block or text that a C function handed over.
template <class T>
using heap_ptr = std::unique_ptr<T, free_memory>;

/// UCS-2 as UTF-8, up to the first zero unit. bad_type for half of a surrogate pair (UCS2StrToUTF8Str).
inline result<std::string> narrow(const char16_t *text)
{
  std::uint32_t size = 0;
  if (const status s = to_status(SMUCS2StrToUTF8Str(nullptr, &size, text)); s != status::success) {
    return failure(s);
  }
  std::string converted(size - 1, '\0');
  if (const status s = to_status(SMUCS2StrToUTF8Str(converted.data(), &size, text)); s != status::success) {
    return failure(s);
  }
  return converted;
}

inline result<std::string> narrow(const std::u16string &text)
{
  return narrow(text.c_str());
}

/// UTF-8 as UCS-2, up to the first zero byte. bad_type for malformed text (UTF8StrToUCS2Str).
inline result<std::u16string> widen(const char *text)
{
  std::uint32_t size = 0;
  if (const status s = to_status(SMUTF8StrToUCS2Str(nullptr, &size, text)); s != status::success) {
    return failure(s);
  }
  std::u16string converted(size / sizeof(char16_t) - 1, u'\0');
  if (const status s = to_status(SMUTF8StrToUCS2Str(converted.data(), &size, text)); s != status::success) {
    return failure(s);
  }
  return converted;
}

inline result<std::u16string> widen(const std::string &text)
{
  return widen(text.c_str());
}

/// Text that an XML log can take without its markup being misread (SMEscapeXMLText). no_memory.
inline result<std::u16string> escape_xml(const char16_t *text)
{
  const heap_ptr<char16_t> escaped(SMEscapeXMLText(text));
  if (escaped == nullptr) {
    return failure(text == nullptr ? status::invalid_parameter : status::no_memory);
  }
  return std::u16string(escaped.get());
}

// Objects and blocks --------------------------------------------------------------------------------------------------

/// What is stored byte by byte: numbers, enumerations, records without pointers.
template <class T>
concept plain_value = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !std::is_array_v<T>;

enum class replace : bool { no, yes };

class object;

/// Reads an object's binary form in place. It owns nothing: the bytes outlive the view and do not change meanwhile.
///
/// A view refuses what does not fit its bytes, so that hostile bytes give "no such field" and no fault; only checked()
/// also says whether the block is sound as a whole.
class block_view {
 public:
  block_view() noexcept = default;
  explicit block_view(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

  /// A view of the block at the start of some bytes, without what comes after it. bad_type unless SMSDOBinaryCheck
  /// takes the block.
  static result<block_view> checked(std::span<const std::byte> bytes) noexcept
  {
    std::uint32_t size = 0;
    const status s = to_status(SMSDOBinaryCheck(bytes.data(), capacity(bytes), &size));
    if (s != status::success) {
      return failure(s);
    }
    return block_view(bytes.first(size));
  }

  std::span<const std::byte> bytes() const noexcept { return bytes_; }

  /// The number of fields as the header says; 0 for bytes that hold no header.
  std::uint32_t count() const noexcept
  {
    const std::int32_t n = bytes_.size() < header_size ? -1 : SMSDOBinaryGetCount(bytes_.data());
    return n < 0 ? 0 : static_cast<std::uint32_t>(n);
  }

  /// The bytes of a field, and its type.
  std::optional<std::span<const std::byte>> bytes_of(std::uint16_t field, std::uint8_t *type = nullptr) const noexcept
  {
    std::uint32_t size = 0;
    const void *value = SMSDOBinaryFindValue(bytes_.data(), capacity(bytes_), field, type, &size);
    if (value == nullptr) {
      return std::nullopt;
    }
    return std::span(static_cast<const std::byte *>(value), size);
  }

  /// A value of exactly the size of T.
  template <plain_value T>
  std::optional<T> find(std::uint16_t field) const noexcept
  {
    const auto value = bytes_of(field);
    if (!value || value->size() != sizeof(T)) {
      return std::nullopt;
    }
    T copy;
    std::memcpy(&copy, value->data(), sizeof(T));
    return copy;
  }

  /// A value that ends with a zero byte and has no other, without it.
  std::optional<std::string_view> text(std::uint16_t field) const noexcept
  {
    const auto value = bytes_of(field);
    if (!value || std::memchr(value->data(), 0, value->size()) != &value->back()) {
      return std::nullopt;
    }
    return std::string_view(reinterpret_cast<const char *>(value->data()), value->size() - 1);
  }

  /// A nested block.
  std::optional<block_view> nested(std::uint16_t field) const noexcept
  {
    std::uint8_t type = 0;
    const auto value = bytes_of(field, &type);
    if (!value || (type & (SDO_TYPE_MASK | SDO_TYPE_ARRAY)) != SDO_TYPE_BINARY) {
      return std::nullopt;
    }
    return block_view(*value);
  }

  /// Everything in it as an object. bad_type where checked() refuses it, no_memory.
  inline result<object> decode() const noexcept;

 private:
  static constexpr std::size_t header_size = 8;

  static std::uint32_t capacity(std::span<const std::byte> bytes) noexcept
  {
    constexpr std::size_t most = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(bytes.size() < most ? bytes.size() : most);
  }

  std::span<const std::byte> bytes_;
};

/// Owns the binary form of an object.
class block {
 public:
  block() noexcept = default;
  block(std::unique_ptr<std::byte[]> bytes, std::size_t size) noexcept : bytes_(std::move(bytes)), size_(size) {}

  std::span<const std::byte> bytes() const noexcept { return {bytes_.get(), size_}; }
  block_view view() const noexcept { return block_view(bytes()); }

 private:
  std::unique_ptr<std::byte[]> bytes_;
  std::size_t size_ = 0;
};

/// Owns a data object (SDOConfig) with everything nested in it. Used by one thread at a time.
class object {
 public:
  /// An empty object. no_memory.
  static result<object> create() noexcept
  {
    object made(SMSDOConfigAlloc());
    if (made.get() == nullptr) {
      return failure(status::no_memory);
    }
    return made;
  }

  /// Takes ownership of what a C function returned.
  explicit object(SDOConfig *owned) noexcept : config_(owned) {}

  SDOConfig *get() const noexcept { return config_.get(); }
  SDOConfig *release() noexcept { return config_.release(); }

  std::uint32_t count() const noexcept
  {
    const std::int32_t n = SMSDOConfigGetCount(get());
    return n < 0 ? 0 : static_cast<std::uint32_t>(n);
  }

  /// Adds bytes, a number or a record under a field ID (SDOConfigAddData). already_exists unless replaced.
  status add_bytes(std::uint16_t field, std::uint8_t type, std::span<const std::byte> value,
                   replace mode = replace::no) noexcept
  {
    if (value.size() > std::numeric_limits<std::uint32_t>::max()) {
      return status::limit_exceeded;
    }
    return to_status(SMSDOConfigAddData(get(), field, type, value.data(), static_cast<std::uint32_t>(value.size()),
                                        mode == replace::yes ? 1 : 0));
  }

  template <plain_value T>
  status add(std::uint16_t field, std::uint8_t type, const T &value, replace mode = replace::no) noexcept
  {
    return add_bytes(field, type, std::as_bytes(std::span(&value, 1)), mode);
  }

  /// Adds a text with its terminator.
  status add_text(std::uint16_t field, std::uint8_t type, const char *text, replace mode = replace::no) noexcept
  {
    return text == nullptr ? status::invalid_parameter
                           : add_bytes(field, type, std::as_bytes(std::span(text, std::strlen(text) + 1)), mode);
  }

  /// Nests an object, which this one owns from then on. On a failure it stays the caller's.
  status add_object(std::uint16_t field, object &&nested, replace mode = replace::no) noexcept
  {
    const status s = to_status(
        SMSDOConfigAddData(get(), field, SDO_TYPE_CONFIG, nested.get(), sizeof(void *), mode == replace::yes ? 1 : 0));
    if (s == status::success) {
      (void)nested.release();  // the entry owns it now
    }
    return s;
  }

  /// Nests an array of objects, likewise all or none.
  status add_objects(std::uint16_t field, std::span<object> nested, replace mode = replace::no)
  {
    std::vector<SDOConfig *> pointers;
    pointers.reserve(nested.size());
    for (const object &element : nested) {
      pointers.push_back(element.get());
    }
    const std::size_t size = pointers.size() * sizeof(SDOConfig *);
    if (size > std::numeric_limits<std::uint32_t>::max()) {
      return status::limit_exceeded;
    }
    const status s = to_status(SMSDOConfigAddData(get(), field, SDO_TYPE_CONFIG | SDO_TYPE_ARRAY, pointers.data(),
                                                  static_cast<std::uint32_t>(size), mode == replace::yes ? 1 : 0));
    if (s == status::success) {
      for (object &element : nested) {
        (void)element.release();  // the entry owns it now
      }
    }
    return s;
  }

  /// A value of exactly the size of T. not_found; bad_data_size for another size.
  template <plain_value T>
  result<T> find(std::uint16_t field) const noexcept
  {
    T value;
    std::uint32_t size = sizeof(T);
    const status s = to_status(SMSDOConfigGetDataByID(get(), field, nullptr, &value, &size));
    if (s == status::buffer_too_small || (s == status::success && size != sizeof(T))) {
      return failure(status::bad_data_size);
    }
    if (s != status::success) {
      return failure(s);
    }
    return value;
  }

  /// A text that was stored with its terminator, up to its first zero byte. not_found.
  result<std::string> text(std::uint16_t field) const
  {
    std::uint32_t size = 0;
    status s = to_status(SMSDOConfigGetDataByID(get(), field, nullptr, nullptr, &size));
    if (s != status::buffer_too_small) {
      return failure(s);
    }
    std::string value(size, '\0');
    s = to_status(SMSDOConfigGetDataByID(get(), field, nullptr, value.data(), &size));
    if (s != status::success) {
      return failure(s);
    }
    value.resize(std::strlen(value.c_str()));
    return value;
  }

  /// Removes a field with everything nested in it. not_found.
  status remove(std::uint16_t field) noexcept
  {
    return is_field(field) ? to_status(SMSDOConfigRemoveData(get(), field, 0, 0)) : status::invalid_parameter;
  }

  /// Its binary form. unsuccessful where something nested was changed after it was added, no_memory.
  result<block> to_block() const noexcept
  {
    const std::int32_t needed = SMSDOConfigGetBinarySize(get());
    if (needed < 0) {
      return failure(status::invalid_parameter);
    }
    auto size = static_cast<std::uint32_t>(needed);
    std::unique_ptr<std::byte[]> bytes(new (std::nothrow) std::byte[size]);
    if (bytes == nullptr) {
      return failure(status::no_memory);
    }
    if (const status s = to_status(SMSDOConfigToBinary(get(), bytes.get(), &size)); s != status::success) {
      return failure(s);
    }
    return block(std::move(bytes), size);
  }

 private:
  struct deleter {
    void operator()(SDOConfig *config) const noexcept { SMSDOConfigFree(config); }
  };

  static constexpr bool is_field(std::uint16_t field) noexcept { return field >= 1 && field <= SDO_FIELD_ID_MAX; }

  std::unique_ptr<SDOConfig, deleter> config_;
};

inline result<object> block_view::decode() const noexcept
{
  const result<block_view> sound = checked(bytes_);
  if (!sound) {
    return failure(sound.error());
  }
  object made(SMSDOBinaryToConfig(bytes_.data()));
  if (made.get() == nullptr) {
    return failure(status::no_memory);
  }
  return made;
}

// Named objects -------------------------------------------------------------------------------------------------------

/// Steps of one millisecond, or without limit.
using steps = std::uint32_t;
inline constexpr steps forever = SM_WAIT_FOREVER;

/// Owns a handle. The end of the scope closes it and leaves what others use (SMHandleClose).
class handle {
 public:
  explicit handle(OSSyncInfo *owned) noexcept : info_(owned) {}

  OSSyncInfo *get() const noexcept { return info_.get(); }
  OSSyncInfo *release() noexcept { return info_.release(); }

 protected:
  /// A handle of a kind, or unsuccessful: errno tells why a handle is null.
  template <class Kind>
  static result<Kind> own(OSSyncInfo *made) noexcept
  {
    if (made == nullptr) {
      return failure(status::unsuccessful);
    }
    return Kind(made);
  }

 private:
  struct closer {
    void operator()(OSSyncInfo *info) const noexcept { SMHandleClose(info); }
  };

  std::unique_ptr<OSSyncInfo, closer> info_;
};

/// A mutex: named, between processes; without a name between the threads of this one.
class mutex : public handle {
 public:
  using handle::handle;

  static result<mutex> create(const char *name) noexcept { return own<mutex>(SMMutexCreate(name)); }
  static result<mutex> open(const char *name) noexcept { return own<mutex>(SMMutexOpen(name)); }

  /// Holds the mutex until the end of its scope. Must not outlive the mutex.
  class hold {
   public:
    explicit hold(OSSyncInfo *locked) noexcept : locked_(locked) {}

   private:
    struct unlocker {
      void operator()(OSSyncInfo *info) const noexcept
      {
        (void)SMMutexUnLock(info);  // a lock that cannot be given back ends with the handle
      }
    };

    std::unique_ptr<OSSyncInfo, unlocker> locked_;
  };

  /// timeout where every try failed.
  result<hold> lock(steps limit = forever) noexcept
  {
    if (const status s = to_status(SMMutexLock(get(), limit)); s != status::success) {
      return failure(s);
    }
    return hold(get());
  }

  /// Deletes the lock file of a named mutex for everybody: only for its last user (SMMutexDestroy).
  void remove() noexcept { SMMutexDestroy(release()); }
};

class semaphore : public handle {
 public:
  using handle::handle;

  static result<semaphore> create(const char *name, std::int32_t initial) noexcept
  {
    return own<semaphore>(SMSemaphoreCreate(name, initial));
  }
  static result<semaphore> open(const char *name) noexcept { return own<semaphore>(SMSemaphoreOpen(name)); }

  status acquire(steps limit = forever) noexcept { return to_status(SMSemaphoreAcquireWait(get(), limit)); }
  status add(std::int32_t count = 1, std::uint32_t *previous = nullptr) noexcept
  {
    return to_status(SMSemaphoreRelease(get(), count, previous));
  }

  /// Removes the set where this handle created or adopted it (SMSemaphoreDestroy).
  void remove() noexcept { SMSemaphoreDestroy(release()); }
};

class event : public handle {
 public:
  using handle::handle;

  enum class reset_mode : bool { automatic, manual };

  static result<event> create(const char *name, reset_mode mode, bool signalled = false) noexcept
  {
    return own<event>(SMEventCreate(name, mode == reset_mode::manual ? 1 : 0, signalled ? 1 : 0));
  }
  static result<event> open(const char *name) noexcept { return own<event>(SMEventOpen(name)); }

  status wait(steps limit = forever) noexcept { return to_status(SMEventWait(get(), limit)); }
  status set() noexcept { return to_status(SMEventSet(get())); }
  status reset() noexcept { return to_status(SMEventReset(get())); }
  status pulse() noexcept { return to_status(SMEventPulse(get())); }

  /// Removes the event where this handle created or adopted it (SMEventDestroy).
  void remove() noexcept { SMEventDestroy(release()); }
};

class shared_memory : public handle {
 public:
  using handle::handle;

  static result<shared_memory> create(const char *name, std::uint32_t size) noexcept
  {
    return own<shared_memory>(SMSharedMemCreate(name, size));
  }
  static result<shared_memory> open(const char *name) noexcept { return own<shared_memory>(SMSharedMemOpen(name)); }

  /// The segment, in the size that it has: one that was taken over may be smaller than what create() asked for. Other
  /// processes write to it; look at a block in it only under a lock, or copy it first.
  std::span<std::byte> bytes() const noexcept
  {
    return {static_cast<std::byte *>(SMSharedMemGetAddressPtr(get())), SMSharedMemGetSize(get())};
  }

  /// Removes the segment where this handle created it (SMSharedMemFree).
  void remove() noexcept { SMSharedMemFree(release()); }
};

/// Holds the global file lock. A file function of the library called meanwhile gives it up at its end.
class file_lock {
 public:
  /// lock_failed where it was not obtained: at once, or after the minute that waiting takes at most.
  static result<file_lock> acquire(bool wait = true) noexcept
  {
    if (SMFileLock(wait ? 1 : 0) == 0) {
      return failure(status::lock_failed);
    }
    return file_lock(true);
  }

  file_lock(file_lock &&other) noexcept : held_(std::exchange(other.held_, false)) {}
  file_lock &operator=(file_lock &&other) noexcept
  {
    std::swap(held_, other.held_);
    return *this;
  }
  ~file_lock()
  {
    if (held_) {
      (void)SMFileUnlock();  // where it fails, the lock goes with the process
    }
  }

 private:
  explicit file_lock(bool held) noexcept : held_(held) {}

  bool held_;
};

// Settings ------------------------------------------------------------------------------------------------------------

namespace detail {

/// How a C++ type is stored in an INI file.
template <class T>
struct ini_value;

template <class T, std::int32_t code, class Stored = T>
struct ini_number {
  static constexpr std::int32_t type = code;

  template <class Read>
  static result<T> read(Read call)
  {
    Stored value{};
    std::uint32_t size = sizeof(value);
    if (const status s = call(&value, &size); s != status::success) {
      return failure(s);
    }
    return static_cast<T>(value);
  }

  template <class Write>
  static status write(T value, Write call)
  {
    const auto stored = static_cast<Stored>(value);
    return call(&stored, std::uint32_t{sizeof(stored)});
  }
};

template <>
struct ini_value<bool> : ini_number<bool, SM_INI_TYPE_BOOLN, SMBool> {
};
template <>
struct ini_value<std::uint32_t> : ini_number<std::uint32_t, SM_INI_TYPE_U32> {
};
template <>
struct ini_value<std::int32_t> : ini_number<std::int32_t, SM_INI_TYPE_S32> {
};
template <>
struct ini_value<std::uint64_t> : ini_number<std::uint64_t, SM_INI_TYPE_U64> {
};
template <>
struct ini_value<std::int64_t> : ini_number<std::int64_t, SM_INI_TYPE_S64> {
};
template <>
struct ini_value<double> : ini_number<double, SM_INI_TYPE_D64> {
};

/// A value of units; `most` is the largest number of them that a file holds, terminator included.
template <class Container, std::int32_t code, std::size_t most, std::size_t terminator>
struct ini_sequence {
  static constexpr std::int32_t type = code;
  using unit = typename Container::value_type;

  template <class Read>
  static result<Container> read(Read call)
  {
    std::array<unit, most> units;
    std::uint32_t size = sizeof(units);
    if (const status s = call(units.data(), &size); s != status::success) {
      return failure(s);
    }
    const std::size_t count = size / sizeof(unit);
    return Container(units.data(), units.data() + (count < terminator ? 0 : count - terminator));
  }

  template <class Write>
  static status write(const Container &value, Write call)
  {
    if (value.size() > most - terminator) {
      return status::bad_data_size;
    }
    return call(value.data(), static_cast<std::uint32_t>((value.size() + terminator) * sizeof(unit)));
  }
};

template <>
struct ini_value<std::string> : ini_sequence<std::string, SM_INI_TYPE_ASTRING, 8193, 1> {
};
template <>
struct ini_value<std::u16string> : ini_sequence<std::u16string, SM_INI_TYPE_USTRING, 819, 1> {
};
template <>
struct ini_value<std::vector<std::byte>> : ini_sequence<std::vector<std::byte>, SM_INI_TYPE_BINARY, 1638, 0> {
};

}  // namespace detail

/// An INI file by its path. Each call takes the global file lock, reads or rewrites the file, and keeps nothing.
/// Types: bool, 32- and 64-bit integers, double, std::string, std::u16string, std::vector<std::byte>.
class ini_file {
 public:
  /// Waits for the lock for a minute, unless told to try once.
  explicit ini_file(std::string path, bool wait = true) noexcept : path_(std::move(path)), lock_mode_(wait ? 1 : 0) {}

  /// file_open_failed, section_not_found and key_not_found tell what is missing; lock_failed, bad_ini_file and
  /// bad_data_size are failures (ReadINIPathFileValue). A number that does not parse reads as 0.
  template <class T>
  result<T> get(const char *section, const char *key) const
  {
    return detail::ini_value<T>::read([&](void *value, std::uint32_t *size) {
      return to_status(SMReadINIPathFileValue(section, key, detail::ini_value<T>::type, value, size, nullptr, 0,
                                              path_.c_str(), lock_mode_));
    });
  }

  /// The value, or `otherwise` where file, section or key is missing. Failures stay failures.
  template <class T>
  result<T> get_or(const char *section, const char *key, T otherwise) const
  {
    result<T> value = get<T>(section, key);
    if (!value) {
      const status s = value.error();
      if (s == status::file_open_failed || s == status::section_not_found || s == status::key_not_found) {
        return otherwise;
      }
    }
    return value;
  }

  /// Creates file, section and key where they are missing (WriteINIPathFileValue).
  template <class T>
  status set(const char *section, const char *key, const T &value)
  {
    return detail::ini_value<T>::write(value, [&](const void *bytes, std::uint32_t size) {
      return to_status(
          SMWriteINIPathFileValue(section, key, detail::ini_value<T>::type, bytes, size, path_.c_str(), lock_mode_));
    });
  }
  status set(const char *section, const char *key, const char *value)
  {
    return value == nullptr ? status::invalid_parameter : set(section, key, std::string(value));
  }

  /// Removes a key; one that is absent is removed already.
  status unset(const char *section, const char *key) noexcept
  {
    return key == nullptr ? status::bad_argument : remove(section, key);
  }

  /// Removes a section with its keys.
  status unset_section(const char *section) noexcept { return remove(section, nullptr); }

 private:
  status remove(const char *section, const char *key) noexcept
  {
    return to_status(SMWriteINIPathFileValue(section, key, SM_INI_TYPE_ASTRING, nullptr, 0, path_.c_str(), lock_mode_));
  }

  std::string path_;
  std::int16_t lock_mode_;
};

/// All entries of a key=value file, loaded at once.
class key_values {
 public:
  /// Empty where the file is missing, holds no entry, is locked or cannot be read: the C call does not tell them apart.
  static key_values load(const char *path) noexcept
  {
    key_values loaded;
    loaded.entries_.reset(SMCFGGetKeyValueEntries(path, &loaded.entries_.get_deleter().count));
    return loaded;
  }

  std::span<const CFGUKeyValueEntry> entries() const noexcept
  {
    return {entries_.get(), entries_ == nullptr ? 0 : entries_.get_deleter().count};
  }

  /// The value of an occurrence of a key, counted from 0.
  std::optional<std::string_view> find(std::string_view key, std::uint32_t occurrence = 0) const noexcept
  {
    for (const CFGUKeyValueEntry &entry : entries()) {
      if (entry.key == key && occurrence-- == 0) {
        return std::string_view(entry.value);
      }
    }
    return std::nullopt;
  }

  /// Sets an occurrence of a key in a file that exists, or adds the next one; a null value removes it
  /// (SMCFGSetKeyValue).
  static status set(const char *path, const char *key, const char *value, std::uint32_t occurrence = 0) noexcept
  {
    return to_status(SMCFGSetKeyValue(path, key, value, occurrence));
  }

 private:
  struct deleter {
    std::uint32_t count;
    deleter() noexcept : count(0) {}  // not at the member: that would be too late for the owner below
    void operator()(CFGUKeyValueEntry *entries) const noexcept { SMCFGFreeKeyValueEntries(entries, count); }
  };

  std::unique_ptr<CFGUKeyValueEntry[], deleter> entries_;
};

// Logs ----------------------------------------------------------------------------------------------------------------

enum class log : std::uint8_t { system = SMLOG_OSSYSLOG, text = SMLOG_UNITXT, xml = SMLOG_XML };

constexpr log operator|(log a, log b) noexcept
{
  return static_cast<log>(static_cast<std::uint8_t>(a) | static_cast<std::uint8_t>(b));
}

enum class event_type : std::uint16_t {
  success = SM_EVENT_SUCCESS,
  error = SM_EVENT_ERROR,
  warning = SM_EVENT_WARNING,
  information = SM_EVENT_INFORMATION,
  audit_success = SM_EVENT_AUDIT_SUCCESS,
  audit_failure = SM_EVENT_AUDIT_FAILURE,
};

/// Writes an event to the suite's logs (AppendToSMLog). Only the XML log's status is reported. Markup is not escaped:
/// see escape_xml.
inline status write_event(log logs, event_type type, std::uint32_t id, const char16_t *source,
                          const char16_t *description, std::span<const std::byte> data = {}) noexcept
{
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) {
    return status::bad_argument;
  }
  return to_status(SMAppendToLog(static_cast<std::uint8_t>(logs), static_cast<std::uint16_t>(type), id, source,
                                 description, data.data(), static_cast<std::uint32_t>(data.size())));
}

}  // namespace QVSUPT32_RESULT_NAMESPACE
}  // namespace qvsupt32

template <>
struct std::is_error_code_enum<qvsupt32::status> : std::true_type {
};

#endif
