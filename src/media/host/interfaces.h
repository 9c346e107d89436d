#pragma once
// The contract between filters and the graph that hosts them. All operations give statuses; nothing throws across them.

#include <cstdint>

#include "media/host/media_type.h"
#include "platform/stream.h"
#include "platform/text.h"
#include "platform/unknown.h"

struct IPin;
struct IBaseFilter;
struct IFilterGraph;
struct IMemAllocator;

enum FILTER_STATE : std::int32_t { State_Stopped = 0, State_Paused = 1, State_Running = 2 };
enum PIN_DIRECTION : std::int32_t { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };

/// Events of a filter to the graph's owner.
inline constexpr std::int32_t EC_COMPLETE = 0x01;
inline constexpr std::int32_t EC_ERRORABORT = 0x03;

/// Flags of IMemAllocator::GetBuffer.
inline constexpr std::uint32_t AM_GBF_PREVFRAMESKIPPED = 1;
inline constexpr std::uint32_t AM_GBF_NOTASYNCPOINT = 2;
inline constexpr std::uint32_t AM_GBF_NOWAIT = 4;
/// Sleep 40 ms before each wait for a free sample: fewer wake-ups where latency does not matter.
inline constexpr std::uint32_t AM_GBF_SLEEP_BEFORE_WAIT = 0x10;

/// Flags of AM_SAMPLE2_PROPERTIES::dwSampleFlags.
inline constexpr std::uint32_t AM_SAMPLE_SPLICEPOINT = 0x1;
inline constexpr std::uint32_t AM_SAMPLE_PREROLL = 0x2;
inline constexpr std::uint32_t AM_SAMPLE_DATADISCONTINUITY = 0x4;
inline constexpr std::uint32_t AM_SAMPLE_TYPECHANGED = 0x8;
inline constexpr std::uint32_t AM_SAMPLE_TIMEVALID = 0x10;
inline constexpr std::uint32_t AM_SAMPLE_MEDIATIMEVALID = 0x20;
inline constexpr std::uint32_t AM_SAMPLE_STOPVALID = 0x100;

struct ALLOCATOR_PROPERTIES {
    std::int32_t cBuffers = 0;
    std::int32_t cbBuffer = 0;  ///< bytes, prefix not included
    std::int32_t cbAlign = 0;   ///< bytes, a power of two
    std::int32_t cbPrefix = 0;  ///< bytes in front of each buffer
};

struct AM_SAMPLE2_PROPERTIES {
    std::uint32_t cbData = 0;  ///< bytes of this record that are used
    std::uint32_t dwTypeSpecificFlags = 0;
    std::uint32_t dwSampleFlags = 0;
    std::int32_t lActual = 0;
    REFERENCE_TIME tStart = 0;
    REFERENCE_TIME tStop = 0;
    std::uint32_t dwStreamId = 0;
    AM_MEDIA_TYPE* pMediaType = nullptr;  ///< borrowed from the sample
    std::uint8_t* pbBuffer = nullptr;
    std::int32_t cbBuffer = 0;
};

struct PIN_INFO {
    IBaseFilter* pFilter = nullptr;  ///< a reference for the caller
    PIN_DIRECTION dir = PINDIR_INPUT;
    WCHAR achName[128] = {};
};

struct FILTER_INFO {
    WCHAR achName[128] = {};
    IFilterGraph* pGraph = nullptr;  ///< a reference for the caller, or null
};

struct IReferenceClock : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A86897-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT GetTime(REFERENCE_TIME* time) = 0;

protected:
    ~IReferenceClock() = default;
};

struct IPersist : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{0000010C-0000-0000-C000-000000000046}");
    virtual HRESULT GetClassID(GUID* id) = 0;

protected:
    ~IPersist() = default;
};

/// An object that keeps its configuration in a stream.
struct IPersistStream : IPersist {
    static constexpr GUID iid = mcgate::platform::guid("{00000109-0000-0000-C000-000000000046}");
    /// S_OK when it was changed since the last save that cleared the mark, else S_FALSE.
    virtual HRESULT IsDirty() = 0;
    virtual HRESULT Load(IStream* stream) = 0;
    virtual HRESULT Save(IStream* stream, std::int32_t clearDirty) = 0;
    /// How many bytes a save may need.
    virtual HRESULT GetSizeMax(std::uint64_t* bytes) = 0;

protected:
    ~IPersistStream() = default;
};

struct IMediaFilter : IPersist {
    static constexpr GUID iid = mcgate::platform::guid("{56A86899-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT Run(REFERENCE_TIME start) = 0;
    /// `timeoutMs` bounds the wait for a state change that is under way; the filters here change state at once.
    virtual HRESULT GetState(std::uint32_t timeoutMs, FILTER_STATE* state) = 0;
    virtual HRESULT SetSyncSource(IReferenceClock* clock) = 0;
    /// A reference for the caller, or null.
    virtual HRESULT GetSyncSource(IReferenceClock** clock) = 0;

protected:
    ~IMediaFilter() = default;
};

struct IEnumPins : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A86892-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT Next(std::uint32_t count, IPin** pins, std::uint32_t* fetched) = 0;
    virtual HRESULT Skip(std::uint32_t count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumPins** copy) = 0;

protected:
    ~IEnumPins() = default;
};

struct IEnumMediaTypes : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{89C31040-846B-11CE-97D3-00AA0055595A}");
    /// Each type is the caller's, to be freed with DeleteMediaType.
    virtual HRESULT Next(std::uint32_t count, AM_MEDIA_TYPE** types, std::uint32_t* fetched) = 0;
    virtual HRESULT Skip(std::uint32_t count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumMediaTypes** copy) = 0;

protected:
    ~IEnumMediaTypes() = default;
};

struct IBaseFilter : IMediaFilter {
    static constexpr GUID iid = mcgate::platform::guid("{56A86895-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT EnumPins(IEnumPins** pins) = 0;
    virtual HRESULT FindPin(const WCHAR* id, IPin** pin) = 0;
    virtual HRESULT QueryFilterInfo(FILTER_INFO* info) = 0;
    /// The graph is not counted: it takes the filter out (null) before it goes.
    virtual HRESULT JoinFilterGraph(IFilterGraph* graph, const WCHAR* name) = 0;
    virtual HRESULT QueryVendorInfo(BSTR* info) = 0;

protected:
    ~IBaseFilter() = default;
};

struct IPin : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A86891-0AD4-11CE-B03A-0020AF0BA770}");
    /// Connects to `receivePin`; with a fully specified `type` to that type alone, otherwise to the first that both
    /// accept.
    virtual HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT Disconnect() = 0;
    virtual HRESULT ConnectedTo(IPin** pin) = 0;
    /// Fills `type`, whose format block the caller frees with CoTaskMemFree.
    virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT QueryPinInfo(PIN_INFO* info) = 0;
    virtual HRESULT QueryDirection(PIN_DIRECTION* direction) = 0;
    virtual HRESULT QueryId(WCHAR** id) = 0;
    virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT EnumMediaTypes(IEnumMediaTypes** types) = 0;
    virtual HRESULT QueryInternalConnections(IPin** pins, std::uint32_t* count) = 0;
    virtual HRESULT EndOfStream() = 0;
    virtual HRESULT BeginFlush() = 0;
    virtual HRESULT EndFlush() = 0;
    virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;

protected:
    ~IPin() = default;
};

struct IMediaSample : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A8689A-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT GetPointer(std::uint8_t** buffer) = 0;
    virtual std::int32_t GetSize() = 0;
    /// S_OK, VFW_S_NO_STOP_TIME (stop is start + 1) or VFW_E_SAMPLE_TIME_NOT_SET.
    virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
    /// Null `start` clears the times; null `stop` leaves the stop time unset.
    virtual HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) = 0;
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(std::int32_t isSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(std::int32_t isPreroll) = 0;
    virtual std::int32_t GetActualDataLength() = 0;
    /// VFW_E_BUFFER_OVERFLOW, and no change, beyond the buffer's size.
    virtual HRESULT SetActualDataLength(std::int32_t bytes) = 0;
    /// S_FALSE and null when the type is that of the last sample; else a copy for DeleteMediaType.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT SetMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(std::int32_t isDiscontinuity) = 0;
    virtual HRESULT GetMediaTime(std::int64_t* start, std::int64_t* end) = 0;
    virtual HRESULT SetMediaTime(const std::int64_t* start, const std::int64_t* end) = 0;

protected:
    ~IMediaSample() = default;
};

struct IMediaSample2 : IMediaSample {
    static constexpr GUID iid = mcgate::platform::guid("{36B73884-C2C8-11CF-8B46-00805F6CEF60}");
    /// Copies the first `bytes` bytes of an AM_SAMPLE2_PROPERTIES out or in; the first 4 bytes are its cbData.
    virtual HRESULT GetProperties(std::uint32_t bytes, std::uint8_t* properties) = 0;
    virtual HRESULT SetProperties(std::uint32_t bytes, const std::uint8_t* properties) = 0;

protected:
    ~IMediaSample2() = default;
};

/// Keys of a sample's side data.
enum class MediaDataKey : std::int32_t {
    CuePoint = 0,
    SampleDate = 1,
    DataId = 2,  ///< 8 bytes, unsigned, identifies the payload
    DolbyMetadata = 3,
    ParentalRating = 4,
    RecordingEvent = 5,
};

struct IMediaSample3 : IMediaSample2 {
    static constexpr GUID iid = mcgate::platform::guid("{5D8CEC5F-63DA-46A1-9237-A2F3587B323C}");
    /// The stored bytes and their number, E_FAIL when the key is not set. The pointer is good until the key is set
    /// again or removed, or the last reference goes.
    virtual HRESULT GetMetaData(std::int32_t key, std::uint8_t** bytes, std::int32_t* size) = 0;
    virtual void SetMetaData(std::int32_t key, const std::uint8_t* bytes, std::int32_t size) = 0;
    virtual void RemoveMetaData(std::int32_t key) = 0;

protected:
    ~IMediaSample3() = default;
};

struct IMemAllocator : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A8689C-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Commit() = 0;
    /// Ends every wait in GetBuffer; the memory goes when the last sample is back.
    virtual HRESULT Decommit() = 0;
    /// A sample with one reference. Waits while none is free, unless AM_GBF_NOWAIT: VFW_E_TIMEOUT. VFW_E_NOT_COMMITTED.
    virtual HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                              std::uint32_t flags) = 0;
    /// Called by a sample's last Release.
    virtual HRESULT ReleaseBuffer(IMediaSample* sample) = 0;

protected:
    ~IMemAllocator() = default;
};

struct IMemInputPin : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A8689D-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT GetAllocator(IMemAllocator** allocator) = 0;
    virtual HRESULT NotifyAllocator(IMemAllocator* allocator, std::int32_t readOnly) = 0;
    virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) = 0;
    /// S_OK goes on, S_FALSE while flushing, a failure ends the stream. Keep the sample by taking a reference.
    virtual HRESULT Receive(IMediaSample* sample) = 0;
    virtual HRESULT ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed) = 0;
    /// S_OK when Receive can block, S_FALSE when it never does.
    virtual HRESULT ReceiveCanBlock() = 0;

protected:
    ~IMemInputPin() = default;
};

/// What filters see of the graph they stand in.
struct IFilterGraph : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A8689F-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT AddFilter(IBaseFilter* filter, const WCHAR* name) = 0;
    virtual HRESULT RemoveFilter(IBaseFilter* filter) = 0;

protected:
    ~IFilterGraph() = default;
};

/// Takes events of filters; only appends, from any thread.
struct IMediaEventSink : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A868A2-0AD4-11CE-B03A-0020AF0BA770}");
    virtual HRESULT Notify(std::int32_t eventCode, std::intptr_t param1, std::intptr_t param2) = 0;

protected:
    ~IMediaEventSink() = default;
};

/// A filter's own registration with the older filter mapper, apart from that of its module. Any thread.
struct IAMovieSetup : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{A3D8CEC0-7E5A-11CF-BBC5-00805F6CEF20}");
    /// S_OK whatever the mapper says; S_FALSE from a filter without a registration record.
    virtual HRESULT Register() = 0;
    /// What the mapper says; S_OK when the filter was not registered.
    virtual HRESULT Unregister() = 0;

protected:
    ~IAMovieSetup() = default;
};

/// A counted array of class ids, allocated with CoTaskMemAlloc.
struct CAUUID {
    std::uint32_t cElems = 0;
    GUID* pElems = nullptr;
};

struct ISpecifyPropertyPages : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{B196B28B-BAB4-101A-B69C-00AA00341D07}");
    virtual HRESULT GetPages(CAUUID* pages) = 0;

protected:
    ~ISpecifyPropertyPages() = default;
};

inline constexpr std::uint32_t AM_FILTER_MISC_FLAGS_IS_RENDERER = 1;
inline constexpr std::uint32_t AM_FILTER_MISC_FLAGS_IS_SOURCE = 2;

struct IAMFilterMiscFlags : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{2DD74950-A890-11D1-ABE8-00A0C905F375}");
    virtual std::uint32_t GetMiscFlags() = 0;

protected:
    ~IAMFilterMiscFlags() = default;
};
