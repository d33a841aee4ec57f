/* What the author of a format driver needs beside core.h and registry.h: the library's messages about files and
 * scanlines, so that every driver says the same thing in the same words. */
#ifndef ORBBASE_DRIVER_H
#define ORBBASE_DRIVER_H

#include <stdint.h>

#include "orbbase/platform/api.h"

ORB_BEGIN_C

/* Message numbers of set 902 with their texts and arguments. Arguments are text (const char*) but for those
 * of a %d, which are int32_t. All are reported as ERROR unless another category is given. */
enum {
  ORB_MSG_DATABASE_START = 30,  /* DEBUG  "%s, initializing database for %s request"  module, caller */
  ORB_MSG_OPEN_MODE = 44,       /* "File open mode (\"%s\") not recognized; expecting \"r\" or \"w\""  mode */
  ORB_MSG_INVALID_TYPE = 51,    /* "Invalid type %s (either the output file format type or the channel type
                                    stored in the file is incorrect)"  key */
  ORB_MSG_AUX_TYPE = 70,        /* "%s cannot handle auxiliary channel type"  format key */
  ORB_MSG_AUX_WIDTH = 71,       /* "%s cannot handle auxiliary channel width"  format key */
  ORB_MSG_IMAGE_TYPE = 72,      /* "%s cannot handle image channel type"  format key */
  ORB_MSG_IMAGE_WIDTH = 73,     /* "%s cannot handle image channel width"  format key */
  ORB_MSG_MATTE_TYPE = 79,      /* "%s cannot handle matte channel type"  format key */
  ORB_MSG_MATTE_WIDTH = 80,     /* "%s cannot handle matte channel width"  format key */
  ORB_MSG_CANNOT_HANDLE = 87,   /* "%s cannot handle the requested action"  format key */
  ORB_MSG_REQUIRED_FIELD = 88,  /* "Required field, %s, uninitialized"  field */
  ORB_MSG_CAPABILITY_CODE = 92, /* WARNING  "Unknown type-specific capability code (%d) specified when
                                    trying to open image file"  code */
  ORB_MSG_NO_MEMORY = 94,       /* "No more internal memory" */
  ORB_MSG_MUST_BE_DEFINED = 121,   /* "%s: %s must be defined"  module, symbol */
  ORB_MSG_INDEX_TYPE = 132,        /* "%s cannot handle color index channel type"  format key */
  ORB_MSG_INDEX_WIDTH = 133,       /* "%s cannot handle color index channel width"  format key */
  ORB_MSG_PLAYBACK_PARAMS = 166,   /* WARNING  "%s: cannot set the playback parameters for this %s file; (it
                                        is not a multiframe file, or this function is unsupported for this
                                        file type)"  path, format key */
  ORB_MSG_SET_FRAME = 192,         /* WARNING  "%s: cannot set the current frame for this %s file; (it is ..."
                                        path, format key */
  ORB_MSG_CAPABILITY_NAME = 194,   /* WARNING  "%s: no name field was found for capability %d of this image
                                        driver"  key, index */
  ORB_MSG_CAPABILITY_ENTRY = 195,  /* WARNING  "%s: no name field was found for capability %d's list entry
                                        number %d of this image driver"  key, capability index, entry index */
  ORB_MSG_PLUGIN_VERSION = 196,    /* "%s: the version protocol of this plug-in (\"%s\") is not supported;
                                        expecting version \"%s\" but found \"%s\""
                                        module, "version", expected, found */
  ORB_MSG_PLAYBACK_BIND = 204,     /* "%s: cannot bind the playback window for this %s file; (it is ..."
                                        path, format key */
  ORB_MSG_PLAYBACK_GOTO = 206,     /* WARNING  "%s: cannot set the playback frame for this %s file (it is
                                        ..."  path, format key */
  ORB_MSG_PLAYBACK_PLAY = 207,     /* WARNING  "%s: cannot start playback for this %s file; (it is ..."
                                        path, format key */
  ORB_MSG_PLAYBACK_STOP = 208,     /* WARNING  "%s: cannot stop playback for this %s file; (it is ..."
                                        path, format key */
  ORB_MSG_UNKNOWN_KEY = 902,       /* "Unknown file type key (\"%s\") was specified; Ensure that the plug-in
                                        for this type is defined"  key */
  ORB_MSG_CANNOT_OPEN = 1001,      /* "Cannot open file %s; %s"  path, reason */
  ORB_MSG_BAD_SCANLINE = 1002,     /* "Bad scanline: %d (out of range, or not in sequence if a sequential
                                        file)"  line */
  ORB_MSG_CANNOT_DECODE = 1003,    /* "Cannot decode scanline %d"  line */
  ORB_MSG_CANNOT_READ_LINE = 1004, /* "Cannot read scanline %d; %s"  line, reason */
  ORB_MSG_CANNOT_WRITE_LINE = 1005, /* "Cannot write scanline %d; %s"  line, reason */
  ORB_MSG_CANNOT_WRITE = 1006,      /* "Cannot write to %s; %s"  path, reason */
  ORB_MSG_OVER_LIMIT = 1007,        /* "%s: over the limit of %s: %s needed, %s allowed; raise it with %s"
                                        call, limit, need, allowed, how; orb__within_limit reports it */
  ORB_MSG_NOT_OF_FORMAT = 1008,     /* "%s: This does not appear to be a %s file; %s"  path, format, reason */
  ORB_MSG_READ_PROBLEM = 1009,      /* "%s: %s"  path, what a codec library says */
  ORB_MSG_READ_WARNING = 1010,      /* WARNING  "%s: %s"  path, what a codec library says */
  ORB_MSG_READ_NOTE = 1011,         /* INFORMATION  "%s: %s"  path, what was left out or assumed */
  ORB_MSG_NOT_RLA = 1012,        /* "%s: This does not appear to be a Brightmoor file"  path; the RLA driver's
                                        word for ORB_MSG_NOT_OF_FORMAT */
  ORB_MSG_SYMBOL_KIND = 1013,    /* "%s: %s must be defined as %s"  module, symbol, what it must be */
  ORB_MSG_BAD_DESCRIPTION = 1014 /* "%s: the %s driver counts %d images and describes none"  path, format
                                        key, count */
};

/* Reports one of the messages above, in its own words and category.
 *
 * number  one of ORB_MSG_; another number reports nothing.
 * ...     the message's arguments, as listed.
 *
 * Sets nothing. Threads: as ERR_report_cat. */
ORB_API void orb__report(int32_t number, ...);

ORB_END_C

#endif
