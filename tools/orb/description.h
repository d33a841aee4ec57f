// The description that a conversion wants its output to have, and what of it the output would lose.
#pragma once

#include <string>
#include <vector>

#include "orbbase/core.h"

namespace orb::tool {

// A copy of the first image's description of an open file, without its images beyond the first. Texts, tables
// and the lookup table are lent by that file's handle, which must stay open as long as they are looked at.
class Description {
 public:
  explicit Description(const ORB_IMAGE& source);
  Description(const Description& other);
  Description& operator=(const Description&) = delete;

  // Takes something out, by a name that --drop knows; something that is not there is no error.
  // Throws Failure(kUsage) for an unknown name.
  void drop(const std::string& name);
  // Gives the image another form: its windows, its size and its groups, whose names are lent.
  void reshape(const ORB_IFD& form);
  [[nodiscard]] bool has_channels() const;
  // Gives a date in the library's words, local time, as the seconds that it stands for, for formats with little
  // room. False when it is no such date, or is short already.
  [[nodiscard]] bool shorten_date();

  [[nodiscard]] const ORB_INFO& info() const { return info_; }
  [[nodiscard]] const ORB_IFD& first() const { return image_; }
  // A record for ORB_open: key and handle are lent by the caller, and so is the lookup table.
  [[nodiscard]] ORB_INFO record(std::string& key, std::string& file, const ORB_LUT* lut) const;

 private:
  ORB_INFO info_;
  mutable ORB_IFD image_;
  std::string moment_;  // the short date, once it is wanted
};

// One thing that the output would not hold as the input does.
struct Loss {
  std::string name;                       // as --drop takes it
  std::string text;                       // for people
  bool may_be_allowed;                    // false: another picture would be stored
  std::string remedy = "--drop " + name;  // what asks for this loss alone
};

// What is lost when a file holds what an opened writer's own description says.
[[nodiscard]] std::vector<Loss> losses(const Description& wanted, const ORB_INFO& stored);

// The names that drop takes, for the help.
[[nodiscard]] std::string drop_names();

}  // namespace orb::tool
