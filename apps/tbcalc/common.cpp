#include "common.hpp"

#include <cstdio>
#include <ostream>

#include "driver/batch_input.hpp"
#include "io/diagnostic.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "params/read_param.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax::tbcalc {
namespace {

// A fault of the library that names no file yet (a non-finite energy), placed in the file.
class located_error final : public tb_error {
 public:
  located_error(const tb_error& e, const std::string& path) : tb_error(e.what(), in_file(path)), status_(e.status()) {}
  int status() const override { return status_; }

 private:
  int status_;
};

}  // namespace

calculation::calculation(std::ostream& err) : con(err, no_keyboard, /*pauses=*/false) { read_param(par, drv, c); }

void calculation::read(const std::string& path, bool tbrelax_symbols, bool hessian) {
  comment = read_structure(c, par, drv, path, con.screen(), !tbrelax_symbols);
  // A distributed step checks the memory of its own part.
  if (!model.distributed) check_memory_for(c, hessian);
}

std::unique_ptr<electronic_step> distributed_step_for(const options& o, work_sharing& group) {
  return o.distributed ? make_distributed_step(group, o.block) : nullptr;
}

int guarded(const std::string& path, std::ostream& err, const std::function<void()>& work, std::string* message) {
  std::string text;
  int status = 0;
  try {
    work();
    return 0;
  } catch (const tb_error& e) {
    text = e.where().file.empty() ? format_diagnostic("tbcalc", located_error(e, path)) : format_diagnostic("tbcalc", e);
    status = e.status();
  }
  err << text << std::flush;
  if (message) *message = text.substr(text.find(": ") + 2, text.find('\n') - text.find(": ") - 2);
  return status;
}

std::string title_of(const common_var& c) {
  const auto last = c.sssss.find_last_not_of(' ');
  return last == std::string::npos ? "" : c.sssss.substr(0, last + 1);
}

std::string formula_of(const common_var& c) {
  std::string f;
  const std::pair<const char*, int> counts[] = {{"C", c.c_count}, {"H", c.h_count}, {"N", c.n_count}, {"O", c.o_count}};
  for (const auto& [symbol, count] : counts)
    if (count > 0) f += symbol + (count > 1 ? std::to_string(count) : "");
  return f;
}

std::string header_line(const std::string& path, const common_var& c) {
  const std::string title = title_of(c);
  return path + ": " + (title.empty() ? "" : title + ", ") + std::to_string(c.at_count) +
         (c.at_count == 1 ? " atom (" : " atoms (") + formula_of(c) + ")";
}

std::string energy_text(double v) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "% .17g", v);
  return buffer;
}

void json_structure(json_writer& json, const std::string& path, const common_var& c) {
  json.key("file").value(path);
  json.key("title").value(title_of(c));
  json.key("elements").begin_array(true);
  for (int a = 0; a < c.at_count; ++a) json.value(std::string(1, data_of(c.at_type[a]).symbol));
  json.end_array();
  json.key("positions").begin_array();
  for (int a = 0; a < c.at_count; ++a) json.numbers({c.x[a], c.y[a], c.z[a]});
  json.end_array();
}

}  // namespace tbrelax::tbcalc
