/* Where the fields of the public records lie, for 64-bit systems: programs and plug-ins that were built against one
 * version of the library work with the next. ORB_CHANNELS, ORB_IFD and ORB_INFO are held in orbbase/core/info.cpp. */
#include <assert.h>
#include <orbbase/host.h>
#include <orbbase/orbbase.h>
#include <stddef.h>

/* clang-format off */
#define SIZE(record, bytes) static_assert(sizeof(record) == (bytes), "size of " #record)
#define AT(record, field, bytes) static_assert(offsetof(record, field) == (bytes), "place of " #field)
#define AT2(r, f1, b1, f2, b2) AT(r, f1, b1); AT(r, f2, b2)
#define AT4(r, f1, b1, f2, b2, f3, b3, f4, b4) AT2(r, f1, b1, f2, b2); AT2(r, f3, b3, f4, b4)

SIZE(ORB_RESPONSE_CURVE, 40); AT4(ORB_RESPONSE_CURVE, kind, 0, gamma, 4, reserved, 8, channel_count, 16);
AT4(ORB_RESPONSE_CURVE, resolution, 20, curve_type, 24, depth, 28, tables, 32);
SIZE(ORB_WINDOW, 16); AT4(ORB_WINDOW, left, 0, right, 4, bottom, 8, top, 12);
SIZE(ORB_CAP_SETTING, 8); AT2(ORB_CAP_SETTING, code, 0, value, 4);
SIZE(ORB_CAP_ENTRY, 32); AT4(ORB_CAP_ENTRY, code, 0, name, 8, name_from_catalogue, 16, catalogue_name, 24);
SIZE(ORB_CAP_LIST, 16); AT2(ORB_CAP_LIST, default_code, 0, entry_count, 4); AT(ORB_CAP_LIST, entries, 8);
SIZE(ORB_CAPABILITY, 56); AT4(ORB_CAPABILITY, ident, 0, name, 8, name_from_catalogue, 16, catalogue_name, 24);
AT2(ORB_CAPABILITY, is_value, 32, list, 40); AT(ORB_CAPABILITY, flags, 48);
SIZE(ORB_LUT_ENTRY, 8); AT2(ORB_LUT_ENTRY, rgba, 0, bytes, 0);
SIZE(ORB_LUT, 24); AT4(ORB_LUT, entries, 0, last_index, 8, entry_count, 12, scale, 16);
SIZE(ORB_FORMAT, 160); AT4(ORB_FORMAT, key, 0, extension, 8, name, 16, description, 24);
AT4(ORB_FORMAT, description_from_catalogue, 32, catalogue_description, 40, format_string, 48, name_syntax, 56);
AT4(ORB_FORMAT, add_extension, 64, usage, 68, orientation, 72, palette_bits, 76);
AT4(ORB_FORMAT, channels, 80, channel_bits, 84, mattes, 88, matte_bits, 92);
AT4(ORB_FORMAT, z_channels, 96, z_bits, 100, active_window, 104, access, 108);
AT4(ORB_FORMAT, capability, 112, caps_avail_update, 120, multi_frame, 128, hard_link_duplicates, 132);
AT4(ORB_FORMAT, remote_access, 133, is_file, 136, ui_popdown, 144, ui_popup, 152);
SIZE(ORB_LOAD_RECORD, 192); AT4(ORB_LOAD_RECORD, key, 0, extension, 8, name, 16, description, 24);
AT4(ORB_LOAD_RECORD, description_from_catalogue, 32, catalogue_description, 40, format_string, 48, name_syntax, 56);
AT4(ORB_LOAD_RECORD, add_extension, 64, usage, 68, orientation, 72, palette_bits, 76);
AT4(ORB_LOAD_RECORD, channels, 80, channel_bits, 84, mattes, 88, matte_bits, 92);
AT4(ORB_LOAD_RECORD, z_channels, 96, z_bits, 100, active_window, 104, access, 108);
AT4(ORB_LOAD_RECORD, multi_frame, 112, hard_link_duplicates, 116, remote_access, 117, capability, 120);
AT4(ORB_LOAD_RECORD, caps_avail_update, 128, init, 136, done, 144, read_open, 152);
AT4(ORB_LOAD_RECORD, write_open, 160, is_file, 168, ui_popup, 176, ui_popdown, 184);
SIZE(ORB_DRIVER_BLOCK, 8); AT(ORB_DRIVER_BLOCK, data, 0);
SIZE(ORB_IMAGE, 432); AT4(ORB_IMAGE, driver, 0, info, 8, mode, 280, lut_read, 288);
AT4(ORB_IMAGE, scan, 296, close, 304, playback_bind, 312, playback_goto, 320);
AT4(ORB_IMAGE, playback_play, 328, playback_params, 336, playback_stop, 344, get_frame, 352);
AT4(ORB_IMAGE, unused_slot, 360, region, 368, set_frame, 376, seek, 384);
AT4(ORB_IMAGE, current_line, 392, format, 400, direct_scan, 408, lock, 416); AT(ORB_IMAGE, layers, 424);
SIZE(ORB_LAYER_KIND, 24); AT2(ORB_LAYER_KIND, kind, 0, scan, 8); AT(ORB_LAYER_KIND, release, 16);
SIZE(ORB_LAYER, 144); AT4(ORB_LAYER, kind, 0, scan, 8, close, 16, data, 24);
AT4(ORB_LAYER, below, 32, has_slots, 40, release, 48, lut_read, 56);
AT4(ORB_LAYER, playback_bind, 64, playback_goto, 72, playback_play, 80, playback_params, 88);
AT4(ORB_LAYER, playback_stop, 96, get_frame, 104, set_frame, 112, seek, 120);
AT2(ORB_LAYER, region, 128, direct_scan, 136);
SIZE(ORB_SETTING, 280); AT4(ORB_SETTING, name, 0, value, 8, origin, 264, line, 272);
SIZE(ORB_QUANTIZE_TARGET, 8); AT2(ORB_QUANTIZE_TARGET, type, 0, width, 4);
SIZE(ORB_NAME_TOKEN, 40); AT4(ORB_NAME_TOKEN, field, 0, length, 4, text, 8, match_length, 16);
AT2(ORB_NAME_TOKEN, match, 24, kind, 32);
SIZE(IMP_TYPE, 32); AT4(IMP_TYPE, name, 0, label, 8, description, 16, access, 24);
SIZE(IMP_PROCESS, 32); AT4(IMP_PROCESS, type, 0, size, 8, levels, 12, filter, 16); AT(IMP_PROCESS, full, 24);
SIZE(CLR_BINS, 40); AT4(CLR_BINS, count, 0, is_uniform, 4, boundaries, 8, wavelengths, 16);
AT2(CLR_BINS, integrals, 24, weights, 32);
SIZE(ERR_RECORD, 72); AT4(ERR_RECORD, kind, 0, category, 1, flags, 4, identity, 8);
AT4(ERR_RECORD, message_template, 16, count, 24, own_handler, 32, handlers, 40);
AT2(ERR_RECORD, user_word_1, 48, user_word_2, 56); AT(ERR_RECORD, argument_names, 64);
SIZE(FMT_ASPECT, 24); AT4(FMT_ASPECT, name, 0, x_resolution, 8, y_resolution, 12, aspect, 16);
SIZE(ORB_RSRC_ITEM, 32); AT4(ORB_RSRC_ITEM, code, 0, name, 8, offset, 16, data_bytes, 20);
AT(ORB_RSRC_ITEM, is_deleted, 24);
SIZE(UTL_HOOKS, 24); AT2(UTL_HOOKS, allocate, 0, reallocate, 8); AT(UTL_HOOKS, release, 16);
SIZE(HOST_CANDIDATE, 32); AT4(HOST_CANDIDATE, path, 0, key, 8, state, 16, reason, 24);
SIZE(HOST_FOLDER, 24); AT2(HOST_FOLDER, path, 0, origin, 8); AT(HOST_FOLDER, exists, 16);
/* clang-format on */
