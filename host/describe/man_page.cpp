#include "describe/man_page.h"

#include <sstream>

#include "cli/help.h"

namespace mcgate::host {

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\\') {
            result += "\\e";
        } else if (letter == '-') {
            result += "\\-";
        } else if (letter == '\'') {
            result += "\\(aq";
        } else {
            result += letter;
        }
    }
    return result.starts_with('.') ? "\\&" + result : result;
}

// What is typed as it stands is bold, what stands for something is italic; brackets are neither.
std::string marked(const std::string& text) {
    const auto isPlain = [](char letter) { return std::string_view("[]|. ").find(letter) != std::string_view::npos; };
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && isPlain(text[end]) == isPlain(text[at])) ++end;
        const std::string part = text.substr(at, end - at);
        if (isPlain(part.front())) {
            result += part;
        } else {
            const bool stands = part.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
            result += (stands ? "\\fI" : "\\fB") + escaped(part) + "\\fR";
        }
        at = end;
    }
    return result;
}

std::string sentence(std::string text) {
    if (!text.empty()) text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return escaped(text) + ".";
}

void writeOptions(std::ostream& page, const std::vector<const CLI::Option*>& options) {
    for (const CLI::Option* option : options) {
        page << ".TP\n" << marked(withValue(*option)) << "\n" << sentence(option->get_description()) << "\n";
    }
}

void writeCommand(std::ostream& page, const CLI::App& command) {
    page << ".SS " << command.get_name() << "\n.nh\n"
         << marked(synopsis(command)) << "\n.hy\n.PP\n"
         << sentence(command.get_description()) << "\n";
    writeOptions(page, operandsOf(command));
    writeOptions(page, optionsOf(command));
    page << ".PP\n.nf\n";
    std::istringstream lines(command.get_footer());
    for (std::string line; std::getline(lines, line);) page << escaped(line) << "\n";
    page << ".fi\n";
}

}  // namespace

std::string manPage(const CLI::App& app) {
    std::ostringstream page;
    page << ".TH MCGATE 1 \"\" \"" << app.version() << "\" \"User Commands\"\n.nh\n.ad l\n.SH NAME\nmcgate \\- "
         << escaped(app.get_description()) << "\n.SH SYNOPSIS\n"
         << marked(synopsis(app)) << "\n.SH COMMANDS\n";
    for (const CLI::App* command : app.get_subcommands({})) writeCommand(page, *command);
    page << ".SH OPTIONS OF ALL COMMANDS\n";
    writeOptions(page, {app.get_help_ptr(), app.get_version_ptr()});
    writeOptions(page, optionsOf(app));
    page << ".SH EXIT STATUS\n0; 1 for a failure while running, and for a fault that check finds; 2 for wrong use. A "
            "refusal is one line.\n"
            "The first SIGINT or SIGTERM stops a stream in order, a later one ends the process at once.\n"
            ".SH ENVIRONMENT\n";
    for (const CLI::Option* option : optionsOf(app)) {
        if (option->get_envname().empty()) continue;
        page << ".TP\n\\fB" << option->get_envname() << "\\fR\nAs \\fB" << escaped(option->get_name()) << "\\fR.\n";
    }
    page << ".TP\n\\fBXDG_DATA_HOME\\fR\nThe user's data directory, below which the registry is; ~/.local/share at "
            "first.\n"
            ".TP\n\\fBNO_COLOR\\fR\nSet to anything: no colours on a terminal.\n";
    page << ".SH FILES\n.TP\n\\fI~/.local/share/mcgate/registry\\fR\nThe user's registered modules.\n"
            ".TP\n\\fI/etc/mcgate/NAME.json\\fR\nThe profile of the service mcgate@NAME.\n"
            ".TP\n\\fI/etc/mcgate/NAME.env\\fR\nMore options for it, as in MCGATE_OPTIONS=\\-\\-metrics 9100.\n"
            ".TP\n\\fI/usr/share/doc/mcgate\\fR\nMore of the options, reports and the rest.\n";
    return page.str();
}

}  // namespace mcgate::host
