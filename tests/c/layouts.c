/* Where the fields of the public records lie, for 64-bit systems: programs and plug-ins that were built against one
 * version of the library work with the next. ORB_CHANNELS, ORB_IFD and ORB_INFO are held in orbbase/core/info.cpp. */
#include <assert.h>
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stddef.h>

#define SIZE(bytes) static_assert(sizeof(RECORD) == (bytes), "size of a public record")
#define AT(field, bytes) static_assert(offsetof(RECORD, field) == (bytes), "place of " #field)

/* clang-format off */
#define RECORD ORB_RESPONSE_CURVE
SIZE(40); AT(kind, 0); AT(gamma, 4); AT(reserved, 8); AT(channel_count, 16); AT(resolution, 20);
AT(curve_type, 24); AT(depth, 28); AT(tables, 32);
#undef RECORD

#define RECORD ORB_WINDOW
SIZE(16); AT(left, 0); AT(right, 4); AT(bottom, 8); AT(top, 12);
#undef RECORD

#define RECORD ORB_CAP_SETTING
SIZE(8); AT(code, 0); AT(value, 4);
#undef RECORD

#define RECORD ORB_CAP_ENTRY
SIZE(32); AT(code, 0); AT(name, 8); AT(name_from_catalogue, 16); AT(catalogue_name, 24);
#undef RECORD

#define RECORD ORB_CAP_LIST
SIZE(16); AT(default_code, 0); AT(entry_count, 4); AT(entries, 8);
#undef RECORD

#define RECORD ORB_CAPABILITY
SIZE(56); AT(ident, 0); AT(name, 8); AT(name_from_catalogue, 16); AT(catalogue_name, 24); AT(is_value, 32);
AT(list, 40); AT(flags, 48);
#undef RECORD

#define RECORD ORB_LUT_ENTRY
SIZE(8); AT(rgba, 0); AT(bytes, 0);
#undef RECORD

#define RECORD ORB_LUT
SIZE(24); AT(entries, 0); AT(last_index, 8); AT(entry_count, 12); AT(scale, 16);
#undef RECORD

#define RECORD ORB_FORMAT
SIZE(160); AT(key, 0); AT(extension, 8); AT(name, 16); AT(description, 24);
AT(description_from_catalogue, 32); AT(catalogue_description, 40); AT(format_string, 48); AT(name_syntax, 56);
AT(add_extension, 64); AT(usage, 68); AT(orientation, 72); AT(palette_bits, 76); AT(channels, 80);
AT(channel_bits, 84); AT(mattes, 88); AT(matte_bits, 92); AT(z_channels, 96); AT(z_bits, 100);
AT(active_window, 104); AT(access, 108); AT(capability, 112); AT(caps_avail_update, 120);
AT(multi_frame, 128); AT(hard_link_duplicates, 132); AT(remote_access, 133); AT(is_file, 136);
AT(ui_popdown, 144); AT(ui_popup, 152);
#undef RECORD

#define RECORD ORB_LOAD_RECORD
SIZE(192); AT(key, 0); AT(extension, 8); AT(name, 16); AT(description, 24);
AT(description_from_catalogue, 32); AT(catalogue_description, 40); AT(format_string, 48); AT(name_syntax, 56);
AT(add_extension, 64); AT(usage, 68); AT(orientation, 72); AT(palette_bits, 76); AT(channels, 80);
AT(channel_bits, 84); AT(mattes, 88); AT(matte_bits, 92); AT(z_channels, 96); AT(z_bits, 100);
AT(active_window, 104); AT(access, 108); AT(multi_frame, 112); AT(hard_link_duplicates, 116);
AT(remote_access, 117); AT(capability, 120); AT(caps_avail_update, 128); AT(init, 136); AT(done, 144);
AT(read_open, 152); AT(write_open, 160); AT(is_file, 168); AT(ui_popup, 176); AT(ui_popdown, 184);
#undef RECORD

#define RECORD ORB_DRIVER_BLOCK
SIZE(8); AT(data, 0);
#undef RECORD

#define RECORD ORB_IMAGE
SIZE(432); AT(driver, 0); AT(info, 8); AT(mode, 280); AT(lut_read, 288); AT(scan, 296); AT(close, 304);
AT(playback_bind, 312); AT(playback_goto, 320); AT(playback_play, 328); AT(playback_params, 336);
AT(playback_stop, 344); AT(get_frame, 352); AT(unused_slot, 360); AT(region, 368); AT(set_frame, 376);
AT(seek, 384); AT(current_line, 392); AT(format, 400); AT(direct_scan, 408); AT(lock, 416); AT(layers, 424);
#undef RECORD

#define RECORD ORB_LAYER_KIND
SIZE(24); AT(kind, 0); AT(scan, 8); AT(release, 16);
#undef RECORD

#define RECORD ORB_LAYER
SIZE(144); AT(kind, 0); AT(scan, 8); AT(close, 16); AT(data, 24); AT(below, 32); AT(has_slots, 40);
AT(release, 48); AT(lut_read, 56); AT(playback_bind, 64); AT(playback_goto, 72); AT(playback_play, 80);
AT(playback_params, 88); AT(playback_stop, 96); AT(get_frame, 104); AT(set_frame, 112); AT(seek, 120);
AT(region, 128); AT(direct_scan, 136);
#undef RECORD

#define RECORD ORB_SETTING
SIZE(280); AT(name, 0); AT(value, 8); AT(origin, 264); AT(line, 272);
#undef RECORD

#define RECORD ORB_QUANTIZE_TARGET
SIZE(8); AT(type, 0); AT(width, 4);
#undef RECORD

#define RECORD ORB_NAME_TOKEN
SIZE(40); AT(field, 0); AT(length, 4); AT(text, 8); AT(match_length, 16); AT(match, 24); AT(kind, 32);
#undef RECORD

#define RECORD IMP_TYPE
SIZE(32); AT(name, 0); AT(label, 8); AT(description, 16); AT(access, 24);
#undef RECORD

#define RECORD IMP_PROCESS
SIZE(32); AT(type, 0); AT(size, 8); AT(levels, 12); AT(filter, 16); AT(full, 24);
#undef RECORD

#define RECORD CLR_BINS
SIZE(40); AT(count, 0); AT(is_uniform, 4); AT(boundaries, 8); AT(wavelengths, 16); AT(integrals, 24);
AT(weights, 32);
#undef RECORD

#define RECORD ERR_RECORD
SIZE(72); AT(kind, 0); AT(category, 1); AT(flags, 4); AT(identity, 8); AT(message_template, 16);
AT(count, 24); AT(own_handler, 32); AT(handlers, 40); AT(user_word_1, 48); AT(user_word_2, 56);
AT(argument_names, 64);
#undef RECORD

#define RECORD FMT_ASPECT
SIZE(24); AT(name, 0); AT(x_resolution, 8); AT(y_resolution, 12); AT(aspect, 16);
#undef RECORD

#define RECORD ORB_RSRC_ITEM
SIZE(32); AT(code, 0); AT(name, 8); AT(offset, 16); AT(data_bytes, 20); AT(is_deleted, 24);
#undef RECORD

#define RECORD UTL_HOOKS
SIZE(24); AT(allocate, 0); AT(reallocate, 8); AT(release, 16);
#undef RECORD

#define RECORD HOST_CANDIDATE
SIZE(32); AT(path, 0); AT(key, 8); AT(state, 16); AT(reason, 24);
#undef RECORD

#define RECORD HOST_FOLDER
SIZE(24); AT(path, 0); AT(origin, 8); AT(exists, 16);
#undef RECORD

/* clang-format on */
