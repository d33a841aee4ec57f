// orb curve: response curves as numbers, as a plot in the terminal, or as an SVG drawing.
#include <CLI/CLI.hpp>
#include <limits>

#include "curve_plot.h"
#include "exit_codes.h"
#include "json.h"
#include "orbbase/response.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct CurveOptions {
  CommonOptions common;
  std::vector<double> gammas;
  double composed = 0;
  bool is_composed = false;
  int32_t entries = 256;
  bool plots = false;
  bool draws_svg = false;
};

constexpr int32_t kMostEntries = 65536;

// A tabulated curve of one channel.
class Curve {
 public:
  explicit Curve(ORB_RESPONSE_CURVE record) : record_(record) {}
  ~Curve() { ORB_response_curve_done(&record_); }
  Curve(const Curve&) = delete;
  Curve& operator=(const Curve&) = delete;

  [[nodiscard]] std::vector<double> values() const {
    const auto* table = static_cast<const float*>(record_.tables[0]);
    return {table, table + record_.resolution};
  }

 private:
  ORB_RESPONSE_CURVE record_;
};

ORB_RESPONSE_CURVE description(double gamma, int32_t entries) {
  ORB_RESPONSE_CURVE curve = {};
  curve.kind = ORB_CURVE_GAMMA;
  curve.gamma = static_cast<float>(gamma);
  curve.channel_count = 1;
  curve.resolution = entries;
  curve.curve_type = ORB_C_FLOAT;
  return curve;
}

void check(bool is_made) {
  if (!is_made) throw Failure(kRetry, "out of memory");
}

std::string gamma_text(double gamma) {
  char text[40];
  std::snprintf(text, sizeof text, "%g", gamma);
  return text;
}

LabelledCurve tabulated(double gamma, int32_t entries) {
  ORB_RESPONSE_CURVE record = description(gamma, entries);
  check(ORB_response_curve_init(&record) == 0);
  return {"gamma " + gamma_text(gamma), Curve(record).values()};
}

// What becomes of the samples of a file with the first curve when the second is asked for.
LabelledCurve chained(double file, double wanted, int32_t entries) {
  const ORB_RESPONSE_CURVE from = description(file, entries);
  const ORB_RESPONSE_CURVE to = description(wanted, entries);
  ORB_RESPONSE_CURVE out = {};
  check(ORB_response_curve_comp(&to, &from, &out) == 0);
  return {"from gamma " + gamma_text(file) + " to " + gamma_text(wanted), Curve(out).values()};
}

void check_gamma(double gamma) {
  using Limits = std::numeric_limits<float>;  // as a curve holds it
  if (gamma >= Limits::min() && gamma <= Limits::max()) return;
  throw Failure(kUsage, "a gamma is a number above 0, not " + gamma_text(gamma));
}

std::vector<LabelledCurve> all_curves(const CurveOptions& options) {
  std::vector<LabelledCurve> curves;
  for (const double gamma : options.gammas) {
    check_gamma(gamma);
    curves.push_back(tabulated(gamma, options.entries));
  }
  if (!options.is_composed) return curves;
  check_gamma(options.composed);
  curves.push_back(tabulated(options.composed, options.entries));
  for (const double gamma : options.gammas)
    curves.push_back(chained(gamma, options.composed, options.entries));
  return curves;
}

std::string as_table(const std::vector<LabelledCurve>& curves) {
  std::string text = "#";
  for (const LabelledCurve& curve : curves) text += "\t" + curve.label;
  text += "\n";
  for (size_t i = 0; i < curves[0].values.size(); ++i) {
    text += std::to_string(i);
    for (const LabelledCurve& curve : curves) {
      char value[32];
      std::snprintf(value, sizeof value, "\t%.6f", curve.values[i]);
      text += value;
    }
    text += "\n";
  }
  return text;
}

std::string as_json(const std::vector<LabelledCurve>& curves) {
  Json list = Json::array();
  for (const LabelledCurve& curve : curves) list.push_back({{"name", curve.label}, {"values", curve.values}});
  return to_text({{"curves", list}});
}

int run(const CurveOptions& options) {
  Results results(options.common);
  const std::vector<LabelledCurve> curves = all_curves(options);
  if (options.common.json) {
    results.text = as_json(curves);
  } else if (options.draws_svg) {
    results.text = curves_as_svg(curves);
  } else if (options.plots) {
    Screen screen = screen_for(options.common, "");
    if (!options.common.output.empty()) screen.cells = Cells::ascii;  // a file is no terminal
    results.text = curves_as_text(curves, screen);
  } else {
    results.text = as_table(curves);
  }
  results.deliver();
  return kDone;
}

}  // namespace

Verb add_curve(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("curve", "print or draw response curves");
  const auto options = std::make_shared<CurveOptions>();
  verb->add_option("--gamma", options->gammas, "a curve to print: light is the stored value to this power")
      ->required()
      ->take_all()
      ->allow_extra_args(false)
      ->type_name("G");
  CLI::Option* composed = verb->add_option("--compose", options->composed,
                                           "also print what becomes of the samples of a file with this gamma "
                                           "when that of --gamma is asked for")
                              ->type_name("G");
  verb->add_option("--entries", options->entries,
                   "the number of values of a curve, 2 to " + std::to_string(kMostEntries))
      ->type_name("N")
      ->check(CLI::Range(2, kMostEntries))
      ->capture_default_str();
  CLI::Option* plot =
      verb->add_flag("--plot", options->plots, "draw the curves in the terminal; not with --svg");
  verb->add_flag("--svg", options->draws_svg, "draw the curves as SVG; not with --plot")->excludes(plot);
  add_common_options(*verb, options->common, "write the results to a file");
  Verb added = {verb, &options->common, [options, composed] {
                  options->is_composed = composed->count() > 0;
                  return run(*options);
                }};
  added.needs_library = false;
  return added;
}

}  // namespace orb::tool
