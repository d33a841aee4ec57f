// The reports of the configuration databases: message set 903, in full.
#pragma once

#include "orbbase/support/err/internal.h"

namespace orb::config {

inline constexpr MessageText kNotANumber = {903, 1, ERR_ERROR,
                                            "Invalid configuration file syntax, line %d; expecting a number"};
inline constexpr MessageText kSyntax = {903, 2, ERR_ERROR, "%s: Invalid configuration file syntax, line %d"};
inline constexpr MessageText kMatchingFunction = {
    903, 3, ERR_ERROR, "Invalid matching function (check the configuration file color matching function)"};
inline constexpr MessageText kWavelengthRange = {
    903, 4, ERR_ERROR, "Invalid wavelength sampling range, (%f, %f); (check the configuration file)"};
inline constexpr MessageText kTableResolution = {
    903, 5, ERR_ERROR, "Invalid table resolution (%d); (check the configuration file)"};
inline constexpr MessageText kStarting = {903, 6, ERR_DEBUG, "%s, initializing database for %s request"};
inline constexpr MessageText kNoMemoryForText = {903, 7, ERR_ERROR, "No more internal memory"};

}  // namespace orb::config
