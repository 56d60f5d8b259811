// What a command tells: its results on standard output, as lines for people or as JSON, one object
// a line; everything else on standard error. Lines are fit for a terminal already (Names.h).
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace kelo::host {

// Keeps the order in which members are set.
using Json = nlohmann::ordered_json;

class Output {
 public:
  void UseJson() { json_ = true; }
  void BeQuiet() { quiet_ = true; }
  bool IsJson() const { return json_; }

  // A result in both forms: the object in JSON, otherwise the line, unless the run is quiet.
  void Result(std::string_view line, const Json& object);
  // A result that has no JSON, such as a heading.
  void Line(std::string_view line);
  // On standard error: what a quiet run leaves out, and what every run tells ("kelo: ").
  void Note(std::string_view line);
  void Problem(std::string_view line);
  // Everything is written now. Throws Failure when standard output did not take it.
  void Finish();

 private:
  bool json_ = false;
  bool quiet_ = false;
};

}  // namespace kelo::host
