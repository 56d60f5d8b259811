// Takes off the quotes that bash's user has typed, and puts them on again.
#include "host/program/ShellWords.h"

namespace kelo::host {
namespace {

// Bash makes words of their own of these, although a word of a command goes on behind them.
constexpr std::string_view kJoints = ":=@";

bool IsJoint(std::string_view piece) {
  return !piece.empty() && piece.find_first_not_of(kJoints) == std::string_view::npos;
}

// Appends the piece without its quotes to the last word.
void Append(std::string_view piece, ShellWords& out) {
  std::string& word = out.words.back();
  out.quote = '\0';
  for (size_t i = 0; i < piece.size(); ++i) {
    const char c = piece[i];
    const bool escapes = c == '\\' && out.quote != '\'' && i + 1 < piece.size();
    if (escapes && (out.quote == '\0' ||
                    std::string_view("$`\"\\").find(piece[i + 1]) != std::string_view::npos)) {
      word += piece[++i];
    } else if (c == out.quote) {
      out.quote = '\0';
    } else if (out.quote == '\0' && (c == '\'' || c == '"')) {
      out.quote = c;
      out.kept = word;  // bash replaces what stands behind an open quote
    } else {
      word += c;
    }
  }
}

std::string Quoted(std::string_view text, char quote) {
  std::string quoted;
  for (const char c : text) {
    if (quote == '\'' && c == '\'')
      quoted += "'\\'";
    else if (quote == '"' && std::string_view("$`\"\\").find(c) != std::string_view::npos)
      quoted += '\\';
    else if (quote == '\0' &&
             std::string_view(" !\"#$&'()*,;<>?[\\]^`{|}~").find(c) != std::string_view::npos)
      quoted += '\\';
    quoted += c;
  }
  return quoted;
}

}  // namespace

ShellWords FromBash(const std::vector<std::string>& typed) {
  ShellWords out;
  bool goesOn = false;
  for (const std::string& piece : typed) {
    const bool joint = IsJoint(piece);
    if (!(joint || goesOn) || out.words.empty()) out.words.emplace_back();
    goesOn = joint;
    const std::string before = out.words.back();
    out.kept.clear();
    Append(piece, out);
    if (out.quote == '\0') out.kept = joint ? out.words.back() : before;
  }
  return out;
}

std::string ForBash(std::string_view candidate, const ShellWords& typed) {
  return Quoted(candidate.substr(typed.kept.size()), typed.quote);
}

}  // namespace kelo::host
