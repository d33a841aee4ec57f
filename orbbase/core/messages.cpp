// The messages of the core and of the format drivers, each text once, and the call that reports them.
#include <cstdarg>

#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr int32_t kSet = 902;

constexpr MessageText kMessages[] = {
    {kSet, ORB_MSG_DATABASE_START, ERR_DEBUG, "%s, initializing database for %s request"},
    {kSet, ORB_MSG_OPEN_MODE, ERR_ERROR, "File open mode (\"%s\") not recognized; expecting \"r\" or \"w\""},
    {kSet, ORB_MSG_INVALID_TYPE, ERR_ERROR,
     "Invalid type %s (either the output file format type or the channel type stored in the file is "
     "incorrect)"},
    {kSet, ORB_MSG_AUX_TYPE, ERR_ERROR, "%s cannot handle auxiliary channel type"},
    {kSet, ORB_MSG_AUX_WIDTH, ERR_ERROR, "%s cannot handle auxiliary channel width"},
    {kSet, ORB_MSG_IMAGE_TYPE, ERR_ERROR, "%s cannot handle image channel type"},
    {kSet, ORB_MSG_IMAGE_WIDTH, ERR_ERROR, "%s cannot handle image channel width"},
    {kSet, ORB_MSG_MATTE_TYPE, ERR_ERROR, "%s cannot handle matte channel type"},
    {kSet, ORB_MSG_MATTE_WIDTH, ERR_ERROR, "%s cannot handle matte channel width"},
    {kSet, ORB_MSG_CANNOT_HANDLE, ERR_ERROR, "%s cannot handle the requested action"},
    {kSet, ORB_MSG_REQUIRED_FIELD, ERR_ERROR, "Required field, %s, uninitialized"},
    {kSet, ORB_MSG_CAPABILITY_CODE, ERR_WARNING,
     "Unknown type-specific capability code (%d) specified when trying to open image file"},
    kNoMemory,
    {kSet, ORB_MSG_MUST_BE_DEFINED, ERR_ERROR, "%s: %s must be defined"},
    {kSet, ORB_MSG_INDEX_TYPE, ERR_ERROR, "%s cannot handle color index channel type"},
    {kSet, ORB_MSG_INDEX_WIDTH, ERR_ERROR, "%s cannot handle color index channel width"},
    {kSet, ORB_MSG_PLAYBACK_PARAMS, ERR_WARNING,
     "%s: cannot set the playback parameters for this %s file; "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_SET_FRAME, ERR_WARNING,
     "%s: cannot set the current frame for this %s file; "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_CAPABILITY_NAME, ERR_WARNING,
     "%s: no name field was found for capability %d of this image driver"},
    {kSet, ORB_MSG_CAPABILITY_ENTRY, ERR_WARNING,
     "%s: no name field was found for capability %d's list entry number %d of this image driver"},
    {kSet, ORB_MSG_PLUGIN_VERSION, ERR_ERROR,
     "%s: the version protocol of this plug-in (\"%s\") is not supported; expecting version \"%s\" but found "
     "\"%s\""},
    {kSet, ORB_MSG_PLAYBACK_BIND, ERR_ERROR,
     "%s: cannot bind the playback window for this %s file; "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_PLAYBACK_GOTO, ERR_WARNING,
     "%s: cannot set the playback frame for this %s file "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_PLAYBACK_PLAY, ERR_WARNING,
     "%s: cannot start playback for this %s file; "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_PLAYBACK_STOP, ERR_WARNING,
     "%s: cannot stop playback for this %s file; "
     "(it is not a multiframe file, or this function is unsupported for this file type)"},
    {kSet, ORB_MSG_UNKNOWN_KEY, ERR_ERROR,
     "Unknown file type key (\"%s\") was specified; Ensure that the plug-in for this type is defined"},
    {kSet, ORB_MSG_CANNOT_OPEN, ERR_ERROR, "Cannot open file %s; %s"},
    {kSet, ORB_MSG_BAD_SCANLINE, ERR_ERROR,
     "Bad scanline: %d (out of range, or not in sequence if a sequential file)"},
    {kSet, ORB_MSG_CANNOT_DECODE, ERR_ERROR, "Cannot decode scanline %d"},
    {kSet, ORB_MSG_CANNOT_READ_LINE, ERR_ERROR, "Cannot read scanline %d; %s"},
    {kSet, ORB_MSG_CANNOT_WRITE_LINE, ERR_ERROR, "Cannot write scanline %d; %s"},
    {kSet, ORB_MSG_CANNOT_WRITE, ERR_ERROR, "Cannot write to %s; %s"},
    {kSet, ORB_MSG_OVER_LIMIT, ERR_ERROR,
     "%s: over the limit of %s: %s needed, %s allowed; raise it with %s"},
    {kSet, ORB_MSG_NOT_OF_FORMAT, ERR_ERROR, "%s: This does not appear to be a %s file; %s"},
    {kSet, ORB_MSG_READ_PROBLEM, ERR_ERROR, "%s: %s"},
    {kSet, ORB_MSG_READ_WARNING, ERR_WARNING, "%s: %s"},
    {kSet, ORB_MSG_READ_NOTE, ERR_INFORMATION, "%s: %s"},
    {kSet, ORB_MSG_NOT_RLA, ERR_ERROR, "%s: This does not appear to be a Brightmoor file"},
    {kSet, ORB_MSG_SYMBOL_KIND, ERR_ERROR, "%s: %s must be defined as %s"},
    {kSet, ORB_MSG_BAD_DESCRIPTION, ERR_ERROR, "%s: the %s driver counts %d images and describes none"},
};

const MessageText* find_message(int32_t number) {
  for (const MessageText& message : kMessages) {
    if (message.number == number) return &message;
  }
  return nullptr;
}

}  // namespace
}  // namespace orb

void orb__report(int32_t number, ...) {
  const orb::MessageText* message = orb::find_message(number);
  if (!message) return;
  va_list arguments;
  va_start(arguments, number);
  orb::report_cat_valist(orb__msg_cat, message->set, message->number, message->category, message->text,
                         arguments);
  va_end(arguments);
}
