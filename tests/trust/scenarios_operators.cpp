// Operators, and the processes that make reduced pictures, on pictures of the memory driver.
#include "orbbase/imp.h"
#include "orbbase/operators.h"
#include "tests/trust/scenarios.h"

namespace orb::testing {
namespace {

using Install = std::function<ORB_IMAGE*(ORB_IMAGE*)>;

void keep(const char* name, int32_t field = 0) {
  for (Picture picture : pictures_of("mem")) {
    if (picture.name != std::string(name) + ".mem") continue;
    if (field != 0) picture.name = "field.000" + std::to_string(field);
    ORB_INFO info = picture.info();
    info.field_value = field;
    info.open_option = 1;
    ORB_IMAGE* const handle = ORB_open(&info, "w");
    for (int32_t i = 0; i < info.image_count; ++i) write_rows(handle, picture, i);
    ORB_close(handle);
  }
}

constexpr int32_t kNoMemoryForProcesses = -3;  // IMP_status, which then stands for orb__err

int32_t result_of(bool is_installed) {
  if (is_installed && orb__err == 0) return 0;
  return orb__err == 0 && IMP_status() == kNoMemoryForProcesses ? ORB_E_MEMORY : failure();
}

// Opens a kept picture, puts something on it, and sees what comes through.
Scenario reads_through(const char* name, const std::string& picture, const Install& install) {
  return {name,
          [=](Seen& seen) {
            ORB_IMAGE* const handle = open_picture(picture + ".mem", "mem");
            if (!handle) return failure();
            orb__err = 0;
            int32_t code = result_of(install(handle) == handle);
            for (int32_t i = 0; i < handle->info.image_count && code == 0; ++i)
              code = see_rows(handle, i, seen);
            return close_picture(handle, code);
          },
          kNoFiles, [=] { keep(picture.c_str()); }};
}

// Opens a picture of these images to be written, puts something on it, and writes through that.
Scenario writes_through(const char* name, const char* kind, int32_t images, const Install& install) {
  return {name,
          [=](Seen&) {
            Picture picture = pictures_of("mem").front();
            for (const Picture& other : pictures_of("mem")) {
              if (other.name == std::string(kind) + ".mem") picture = other;
            }
            picture.name = "through.mem";
            const IMP_PROCESS mipmap = {"mipmap", 0, images, 0, nullptr};
            if (images > 1) {
              const ORB_IFD full = picture.ifds[0];
              picture.ifds.resize(static_cast<size_t>(images));
              if (IMP_plan(&mipmap, &full, picture.ifds.data(), images) != images) return failure();
            }
            ORB_INFO info = picture.info();
            info.open_option = 1;
            ORB_IMAGE* const handle = ORB_open(&info, "w");
            if (!handle) return failure();
            orb__err = 0;
            int32_t code = result_of(install(handle) == handle);
            if (code == 0) code = write_rows(handle, picture, 0);
            return close_picture(handle, code);
          },
          kNoFiles,
          {},
          [](Seen& seen) { return see_picture("through.mem", "mem", seen); },
          [] { ORB_mem_remove("through.mem"); }};
}

ORB_RESPONSE_CURVE gamma_curve(float gamma) {
  ORB_RESPONSE_CURVE curve = {};
  curve.kind = ORB_CURVE_GAMMA;
  curve.gamma = gamma;
  return curve;
}

ORB_IMAGE* with_gamma(ORB_IMAGE* image) {
  ORB_RESPONSE_CURVE wanted = gamma_curve(1.4f);
  return ORB__gamma(image, &wanted);
}

ORB_IMAGE* with_integers(ORB_IMAGE* image) {
  const ORB_QUANTIZE_TARGET target = {ORB_C_INTEGER, 8};
  return ORB__quantize(image, ORB_MODE_READ, &target, &target, &target);
}

ORB_IMAGE* from_reals(ORB_IMAGE* image) {
  const ORB_QUANTIZE_TARGET target = {ORB_C_FLOAT, 32};
  return ORB__quantize(image, ORB_MODE_WRITE, &target, nullptr, nullptr);
}

Install process(const char* type, const char* access, int32_t size, int32_t levels = 0) {
  return [=](ORB_IMAGE* image) {
    const IMP_PROCESS wanted = {type, size, levels, 0, nullptr};
    return IMP_open(image, &wanted, access);
  };
}

int32_t merge(Seen& seen) {
  ORB_IMAGE* const field = open_picture("field.0001", "mem");
  if (!field) return failure();
  orb__err = 0;
  ORB_IMAGE* const merged = ORB__merge_fields(field);
  const int32_t code = merged == field ? failure() : see_rows(merged, 0, seen);
  return close_picture(merged, code);
}

int32_t list_processes(Seen& seen) {
  for (int i = 0; i < 3; ++i) {
    const IMP_TYPE* const type = IMP_info();
    if (!type) return result_of(false);
    see_text(seen, type->name);
  }
  return 0;
}

}  // namespace

const std::vector<Scenario>& operator_scenarios() {
  static const std::vector<Scenario> all = {
      reads_through("Gamma", "matte", with_gamma),
      reads_through("GammaOfFloats", "floats", with_gamma),
      writes_through("GammaWritten", "bytes", 1, with_gamma),
      reads_through("Quantize", "depth", with_integers),
      writes_through("QuantizeWritten", "bytes", 1, from_reals),
      reads_through("MinMax", "matte", [](ORB_IMAGE* image) { return ORB__minmax(image, 0.25, 0.5); }),
      reads_through("Select", "images", [](ORB_IMAGE* image) { return ORB__select(image, 2); }),
      {"MergeFields", merge, kNoFiles, [] { keep("bytes", 1), keep("bytes", 2); }},
      reads_through("Swatch", "cut", process("swatch", "r", 3)),
      reads_through("SwatchOfFloats", "depth", process("swatch", "r", 3)),
      reads_through("Mipmap", "matte", process("mipmap", "r", 0)),
      writes_through("MipmapWritten", "bytes", 3, process("mipmap", "w", 0, 3)),
      {"Processes", list_processes, kNoFiles},
      reads_through("Stack", "images",
                    [](ORB_IMAGE* image) {
                      if (ORB__select(image, 1); orb__err != 0) return image;
                      if (with_gamma(image); orb__err != 0) return image;
                      if (ORB__minmax(image, 0.0, 0.5); orb__err != 0) return image;
                      return process("swatch", "r", 3)(image);
                    }),
  };
  return all;
}

}  // namespace orb::testing
