#pragma once
// Identifiers of the module's classes and of the stream types that its pins know.

#include "platform/guid.h"

inline constexpr GUID CLSID_CNetworkReceiverFilter = mcgate::platform::guid("{E9555C16-E7E8-48DA-9370-E665A78595F2}");
inline constexpr GUID CLSID_CNetworkSend = mcgate::platform::guid("{75A24BA6-F322-457C-9B20-DFE6FB930FE5}");
inline constexpr GUID CLSID_CNetRecvProp = mcgate::platform::guid("{CD5B9BDA-2F3B-476A-9A46-39675B062E93}");
inline constexpr GUID CLSID_CNetSendProp = mcgate::platform::guid("{6FBFD254-170B-4809-9B7B-0CF2C8BF882C}");
/// A further page of the receiver that a component outside this module provides.
inline constexpr GUID CLSID_NetRecvSecondPage = mcgate::platform::guid("{0B1053EF-309D-4022-A1BC-134BAFF5916E}");

/// The private stream, sent as bare bytes.
inline constexpr GUID MEDIATYPE_PrivateStream = mcgate::platform::guid("{1ACFFBF0-54E2-4ADF-8676-5FEB921330FA}");
inline constexpr GUID MEDIASUBTYPE_PrivateStream = mcgate::platform::guid("{0E461559-0CE5-4E63-A6A3-2C84F9CAE251}");
/// The private time-stamped stream: 8-byte samples, each sent with its time in front.
inline constexpr GUID MEDIATYPE_PrivateTimeStamped = mcgate::platform::guid("{E58943E9-F56E-4991-9DF0-AE4528A7BE15}");
inline constexpr GUID MEDIASUBTYPE_PrivateTimeStamped =
    mcgate::platform::guid("{CF9DB4CD-B1C9-470C-ABE4-AAFE788CB7DF}");
