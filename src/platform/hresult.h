#pragma once
// Component statuses: 32 bits, failure when the sign bit is set. The values are the published ones, since hosts compare
// them and print them.

#include <cstdint>

using HRESULT = std::int32_t;

constexpr bool SUCCEEDED(HRESULT status) noexcept { return status >= 0; }
constexpr bool FAILED(HRESULT status) noexcept { return status < 0; }

/// Makes a status of its published hexadecimal form.
constexpr HRESULT makeStatus(std::uint32_t value) noexcept { return static_cast<HRESULT>(value); }

/// The status of a platform error number: a value of 0 or below stays; one above becomes its low 16 bits under
/// 0x80070000.
constexpr HRESULT HRESULT_FROM_WIN32(std::int32_t error) noexcept {
    return error <= 0 ? error : makeStatus((static_cast<std::uint32_t>(error) & 0xFFFFU) | 0x80070000U);
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = makeStatus(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = makeStatus(0x80004002);
inline constexpr HRESULT E_POINTER = makeStatus(0x80004003);
inline constexpr HRESULT E_FAIL = makeStatus(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = makeStatus(0x8000FFFF);
inline constexpr HRESULT E_OUTOFMEMORY = makeStatus(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = makeStatus(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = makeStatus(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = makeStatus(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = makeStatus(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = makeStatus(0x800401F0);
inline constexpr HRESULT CO_E_DLLNOTFOUND = makeStatus(0x800401F8);
inline constexpr HRESULT CO_E_ERRORINDLL = makeStatus(0x800401F9);

inline constexpr HRESULT STG_E_WRITEFAULT = makeStatus(0x8003001D);
inline constexpr HRESULT STG_E_READFAULT = makeStatus(0x8003001E);
inline constexpr HRESULT STG_E_MEDIUMFULL = makeStatus(0x80030070);

inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = makeStatus(0x80040200);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = makeStatus(0x80040203);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = makeStatus(0x80040204);
inline constexpr HRESULT VFW_E_FILTER_ACTIVE = makeStatus(0x80040205);
inline constexpr HRESULT VFW_E_NO_TYPES = makeStatus(0x80040206);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = makeStatus(0x80040207);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = makeStatus(0x80040208);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = makeStatus(0x80040209);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = makeStatus(0x8004020A);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = makeStatus(0x8004020B);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = makeStatus(0x8004020D);
inline constexpr HRESULT VFW_E_BADALIGN = makeStatus(0x8004020E);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = makeStatus(0x8004020F);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = makeStatus(0x80040210);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = makeStatus(0x80040211);
inline constexpr HRESULT VFW_E_SIZENOTSET = makeStatus(0x80040212);
inline constexpr HRESULT VFW_E_NO_CLOCK = makeStatus(0x80040213);
inline constexpr HRESULT VFW_E_NOT_FOUND = makeStatus(0x80040216);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = makeStatus(0x80040217);
inline constexpr HRESULT VFW_E_NOT_STOPPED = makeStatus(0x80040224);
inline constexpr HRESULT VFW_E_WRONG_STATE = makeStatus(0x80040227);
inline constexpr HRESULT VFW_E_START_TIME_AFTER_END = makeStatus(0x80040228);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = makeStatus(0x8004022A);
inline constexpr HRESULT VFW_E_TIMEOUT = makeStatus(0x8004022E);
inline constexpr HRESULT VFW_E_INVALID_FILE_FORMAT = makeStatus(0x8004022F);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = makeStatus(0x80040249);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = makeStatus(0x80040251);
