#include "cli.hpp"

#include <functional>
#include <map>

#include "freq_options.hpp"
#include "help_texts.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "cell_options.hpp"
#include "relax_options.hpp"
#include "scan_options.hpp"

namespace tbrelax::tbcalc {
namespace {

parsed usage_error(const std::string& fault, const std::string& usage, const std::string& help_hint) {
  return {std::nullopt, "tbcalc: " + fault + "\n" + usage + "Try '" + help_hint + "' for more information.\n",
          usage_status};
}

}  // namespace

parsed parse_command_line(const std::vector<std::string>& args) {
  if (args.empty()) return usage_error("no command given", general_usage, "tbcalc --help");
  const std::string& first = args[0];
  if (first == "-h" || first == "--help") return {std::nullopt, general_help, 0};
  if (first == "--version") return {std::nullopt, "tbcalc " TBRELAX_VERSION "\n", 0};
  const command_text* found = find_command(first);
  if (!found) {
    const std::string fault = first.starts_with('-') ? "unknown option '" + first + "'" : "unknown command '" + first + "'";
    return usage_error(fault, general_usage, "tbcalc --help");
  }
  const command_text& text = *found;
  const std::string hint = "tbcalc " + first + " --help";
  options o;
  o.cmd = text.cmd;

  // Options taking a value, for this command: --name VALUE or --name=VALUE. Each sets its
  // value and returns the fault of a bad one.
  using setter = std::function<std::string(const std::string&)>;
  std::map<std::string, setter, std::less<>> valued;
  auto file_into = [](std::string& target) { return [&target](const std::string& v) { target = v; return std::string(); }; };
  std::string optimiser_only;  // the first option given that steepest descent does not take
  auto for_optimisers = [&optimiser_only](const std::string& name, setter set) {
    return [&optimiser_only, name, set](const std::string& v) {
      if (optimiser_only.empty()) optimiser_only = name;
      return set(v);
    };
  };
  optimiser_settings& opt = o.optimiser;
  if (o.cmd == command::freq) {
    valued["--molden"] = file_into(o.molden);
    valued["--displace-imaginary"] = file_into(o.displace_imaginary);
  }
  if (o.cmd == command::freq || o.cmd == command::relax) {
    valued["--verify-threshold"] = [&opt](const std::string& v) { return parse_positive(v, opt.check.threshold); };
    valued["--escape-step"] = [&opt](const std::string& v) { return parse_positive(v, opt.check.escape_step); };
  }
  if (o.cmd == command::scan) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.scan.stop.fmax); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.scan.stop.max_steps); };
    const std::pair<const char*, coordinate_kind> kinds[] = {
        {"--distance", coordinate_kind::distance}, {"--angle", coordinate_kind::angle}, {"--dihedral", coordinate_kind::dihedral}};
    for (const auto& named : kinds) {
      const coordinate_kind kind = named.second;
      valued[named.first] = [&o, kind](const std::string& v) { return parse_scan_coordinate(kind, v, o.scan); };
    }
  }
  if (o.cmd == command::ts) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.saddle.fmax); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.saddle.max_steps); };
  }
  if (o.cmd == command::irc) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--start"] = file_into(o.irc_start);
    valued["--end"] = file_into(o.irc_end);
    valued["--step"] = [&o](const std::string& v) { return parse_positive(v, o.irc.step); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.irc.max_steps); };
  }
  if (o.cmd == command::path) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--images"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.band_images);
      return fault.empty() && o.band_images < 1 ? "a band needs at least 1 image, not '" + v + "'" : fault;
    };
    valued["--spring"] = [&o](const std::string& v) { return parse_positive(v, o.band.spring); };
    valued["--climb-from"] = [&o](const std::string& v) { return parse_positive(v, o.band.climb_from); };
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.band.fmax); };
    valued["--max-iterations"] = [&o](const std::string& v) { return parse_count(v, o.band.max_iterations); };
    valued["--threads"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.band.threads);
      return fault.empty() && o.band.threads < 1 ? "a whole number of at least 1 is needed, not '" + v + "'" : fault;
    };
  }
  if (o.cmd == command::energy || o.cmd == command::relax)
    valued["--block"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.block);
      return fault.empty() && o.block < 1 ? "a whole number of at least 1 is needed, not '" + v + "'" : fault;
    };
  {
    periodic_request& p = o.periodic;
    valued["--kpoints"] = [&p](const std::string& v) { return parse_grid(v, p.grid.emplace()); };
    valued["--kpoint-shift"] = [&p](const std::string& v) { return parse_shift(v, p.shift.emplace()); };
    valued["--electronic-temperature"] = [&p](const std::string& v) {
      return parse_temperature(v, p.temperature.emplace());
    };
  }
  if (o.cmd == command::elastic) {
    valued["--strain"] = [&o](const std::string& v) {
      const std::string fault = parse_positive(v, o.elastic_strain);
      return fault.empty() && o.elastic_strain > 0.1 ? "a strain of at most 0.1 is needed, not '" + v + "'" : fault;
    };
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.elastic_fmax); };
  }
  if (o.cmd == command::relax) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--trajectory"] = file_into(o.trajectory);
    valued["--method"] = [&o](const std::string& v) {
      o.method = v;
      if (v == "sd") return std::string();
      o.optimiser.method = v;
      return make_step_strategy(v) ? "" : "unknown method '" + v + "' (plbfgs, lbfgs, fire or sd)";
    };
    valued["--fmax"] = for_optimisers("--fmax", [&opt](const std::string& v) { return parse_positive(v, opt.stop.fmax); });
    valued["--max-steps"] =
        for_optimisers("--max-steps", [&opt](const std::string& v) { return parse_count(v, opt.stop.max_steps); });
    valued["--verify-threshold"] = for_optimisers("--verify-threshold", valued["--verify-threshold"]);
    valued["--escape-step"] = for_optimisers("--escape-step", valued["--escape-step"]);
    valued["--fix"] =
        for_optimisers("--fix", [&opt](const std::string& v) { return parse_atom_list(v, opt.limits.fixed); });
    valued["--pull"] = for_optimisers("--pull", [&opt](const std::string& v) {
      pulling_pair p;
      const std::string fault = parse_pull(v, p);
      if (fault.empty()) opt.limits.pulls.push_back(p);
      return fault;
    });
    cell_request& cell = o.cell;
    valued["--smax"] = [&cell](const std::string& v) { return parse_positive(v, cell.smax.emplace()); };
    valued["--pressure"] = [&cell](const std::string& v) { return parse_finite(v, cell.pressure.emplace()); };
    valued["--cell-mask"] = [&cell](const std::string& v) { return parse_cell_mask(v, cell.mask.emplace()); };
    valued["--strain"] = [&cell](const std::string& v) { return parse_strain_ramp(v, cell.strain.emplace()); };
  }

  bool options_ended = false;
  for (std::size_t k = 1; k < args.size(); ++k) {
    const std::string& word = args[k];
    if (options_ended || word == "-" || !word.starts_with('-')) {
      o.files.push_back(word);
      continue;
    }
    if (word == "--") {
      options_ended = true;
    } else if (word == "-h" || word == "--help") {
      return {std::nullopt, text.usage + text.help, 0};
    } else if (word == "--json") {
      o.json = true;
    } else if (word == "--tbrelax-symbols") {
      o.tbrelax_symbols = true;
    } else if (word == "--no-verify" && o.cmd == command::relax) {
      o.optimiser.check.enabled = false;
    } else if (word == "--no-climb" && o.cmd == command::path) {
      o.band.climb = false;
    } else if (word == "--ts" && o.cmd == command::path) {
      o.band_ts = true;
    } else if (o.cmd == command::relax && (word == "--cell" || word == "--isotropic")) {
      (word == "--cell" ? o.cell.enabled : o.cell.isotropic) = true;
    } else if (word == "--distributed") {
      o.distributed = true;
    } else if (const std::string number = word.substr(0, word.find('='));
               o.cmd == command::freq && is_freq_number_option(number)) {
      std::string value;
      if (number.size() < word.size()) {
        value = word.substr(number.size() + 1);
      } else if (k + 1 < args.size()) {
        value = args[++k];
      }
      if (auto fault = set_freq_option(number, value, o.thermo)) return usage_error(*fault, text.usage, hint);
    } else {
      const auto equals = word.find('=');
      const std::string name = word.substr(0, equals);
      const auto option = valued.find(name);
      if (option == valued.end() || (equals != std::string::npos && name == "-o"))
        return usage_error("unknown option '" + word + "'", text.usage, hint);
      std::string value;
      if (equals != std::string::npos) {
        value = word.substr(equals + 1);
      } else if (k + 1 < args.size()) {
        value = args[++k];
      }
      const bool file = name == "-o" || name == "--output" || name == "--trajectory" || name == "--molden" ||
                        name == "--displace-imaginary" || name == "--start" || name == "--end";
      if (value.empty()) return usage_error("option '" + name + "' needs " + (file ? "a file name" : "a value"), text.usage, hint);
      if (const std::string fault = option->second(value); !fault.empty())
        return usage_error(name + ": " + fault, text.usage, hint);
    }
  }

  if (!optimiser_only.empty() && o.method == "sd")
    return usage_error(optimiser_only + " needs --method plbfgs, lbfgs or fire", text.usage, hint);
  if (const std::string lone = cell_option_without_cell(o.cell); !lone.empty())
    return usage_error(lone + " needs --cell", text.usage, hint);
  if (o.cell.strain && o.cell.isotropic) return usage_error("--isotropic does not combine with --strain", text.usage, hint);
  if (o.cell.enabled && o.method == "sd") return usage_error("--cell needs --method plbfgs, lbfgs or fire", text.usage, hint);
  if (o.cell.enabled && !opt.limits.pulls.empty()) return usage_error("--pull does not combine with --cell", text.usage, hint);
  if (o.cell.enabled && o.distributed) return usage_error("--distributed does not combine with --cell", text.usage, hint);
  if (o.files.empty()) return usage_error("no FILE given", text.usage, hint);
  if (o.cmd == command::scan) {
    if (o.scan.coordinates.empty()) return usage_error("no coordinate to scan: give --distance, --angle or --dihedral", text.usage, hint);
    if (o.files.size() > 1) return usage_error("scan takes one FILE only", text.usage, hint);
  }
  if ((o.cmd == command::ts || o.cmd == command::irc) && o.files.size() > 1)
    return usage_error(std::string(o.cmd == command::ts ? "ts" : "irc") + " takes one FILE only", text.usage, hint);
  if (o.cmd == command::path && o.files.size() != 2) return usage_error("path takes two files, START and END", text.usage, hint);
  if (o.band_ts && !o.band.climb) return usage_error("--ts needs the climbing image (leave out --no-climb)", text.usage, hint);
  if (o.distributed) {
    if (o.cmd != command::energy && o.cmd != command::relax)
      return usage_error("--distributed works with energy and relax only", text.usage, hint);
    if (!distributed_step_built())
      return usage_error("--distributed needs a build with ELPA (TBRELAX_ELPA=ON)", text.usage, hint);
    if (o.files.size() > 1) return usage_error("--distributed takes one FILE only", text.usage, hint);
    if (o.periodic.grid || o.periodic.shift || o.periodic.temperature)
      return usage_error("--distributed works with molecules at zero electronic temperature only", text.usage, hint);
  } else if (o.block != default_distributed_block) {
    return usage_error("--block needs --distributed", text.usage, hint);
  }
  if (o.files.size() > 1 && !o.molden.empty()) return usage_error("--molden takes one FILE only", text.usage, hint);
  if (o.files.size() > 1 && !o.displace_imaginary.empty())
    return usage_error("--displace-imaginary takes one FILE only", text.usage, hint);
  if (o.cmd != command::path && o.files.size() > 1 && (!o.output.empty() || !o.trajectory.empty()))
    return usage_error("-o and --trajectory take one FILE only", text.usage, hint);
  return {std::move(o), "", 0};
}

}  // namespace tbrelax::tbcalc
