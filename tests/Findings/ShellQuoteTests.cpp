#include "Findings/ShellQuote.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

using namespace velmora;

namespace {

// Runs the quoted text through a real /bin/sh and returns what printf printed.
std::string echoedByShell(const std::string& quoted) {
    std::string script = "printf %s " + quoted;
    // The script itself goes to sh as one argument; popen would add a shell of its own, so quote
    // it once more for that outer shell with the same rule.
    const std::string command = "/bin/sh -c " + ShellQuote::quote(script);
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe)
        return "<popen failed>";
    std::string out;
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        out.append(buffer, n);
    const int status = ::pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return "<sh failed>";
    return out;
}

} // namespace

// Safe text stays as it is, everything else is single-quoted so that a real shell gives it back
// exactly. The shell sees each text between separators, so which text stays unquoted only shows in the
// exact cases.
TEST(ShellQuote, RealShellPrintsEveryTextBackExactly) {
    EXPECT_EQ(ShellQuote::quote(""), "''");
    EXPECT_EQ(ShellQuote::quote("a-b_c.d/e:f@g%h+i=j,k"), "a-b_c.d/e:f@g%h+i=j,k");
    EXPECT_EQ(ShellQuote::quote("~/x"), "'~/x'");
    EXPECT_EQ(ShellQuote::quote("Application Support"), "'Application Support'");
    EXPECT_EQ(ShellQuote::quote("it's"), "'it'\\''s'");
    EXPECT_EQ(ShellQuote::quote("$HOME"), "'$HOME'");
    EXPECT_EQ(ShellQuote::quote("Größe"), "'Größe'");

    const std::vector<std::string> alphabet{
        "a",    "Z",  "0",   " ", "  ", "\t", "\n",  "'",     "''", "\"", "$",    "$(id)",
        "`id`", "\\", "\\n", "~", "*",  "?",  "[a]", "{a,b}", "&",  ";",  "|",    "<",
        ">",    "#",  "!",   "%", "=",  "-",  "--",  "ä",     "ß",  "€",  "🙂", "\xC3\xA9",
        "é",    "/",  ".",   ":", "@",  "+",  ",",   "(",     ")",  "^",  "\r"};
    // Every piece alone and all of them in one text, each between separators in one shell call.
    std::string quotedList, expected, all;
    for (const auto& text : alphabet) {
        quotedList += " " + ShellQuote::quote("<" + text + ">");
        expected += "<" + text + ">";
        all += text;
    }
    quotedList += " " + ShellQuote::quote(all);
    expected += all;
    EXPECT_EQ(echoedByShell(quotedList.substr(1)), expected);
}
