#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "console/access.h"
#include "console/console.h"

namespace httplib {
struct Request;
struct Response;
class Server;
}  // namespace httplib

namespace mcgate::host {

/// The console's interface over HTTP, as docs/CONSOLE.md has it. To be called before the server starts; what is given
/// outlives it.
void addConsole(httplib::Server& server, Console& console, const Access& access);

// Its parts: what guards all requests and tells of errors; the page; the streams; their property pages.
void addGuard(httplib::Server& server, const Access& access);
void addSite(httplib::Server& server, const Access& access);
void addGraphRoutes(httplib::Server& server, Console& console);
void addPageRoutes(httplib::Server& server, Console& console);

void answer(httplib::Response& response, const nlohmann::ordered_json& value, int status = 200);
/// The JSON object of a body. Throws UsageError for anything else.
nlohmann::json bodyOf(const httplib::Request& request);
/// A number of the path, as the route's pattern found it. Throws NotFound for one that is too large.
std::uint32_t numberOf(const httplib::Request& request, std::size_t match);

}  // namespace mcgate::host
