#include "batch.hpp"

#include <cstdint>
#include <cstring>
#include <optional>
#include <ostream>
#include <sstream>

#include "common.hpp"
#include "driver/batch_input.hpp"

namespace tbrelax::tbcalc {
namespace {

// One file's outcome, as it travels from the rank that ran it to rank 0.
struct outcome {
  std::int32_t status = 0;
  std::string message;  // the fault, without the program's name
  std::string report;   // text, or the file's JSON object
};

std::string encode(const outcome& r) {
  const std::uint64_t length = r.message.size();
  std::string bytes(sizeof r.status + sizeof length, '\0');
  std::memcpy(bytes.data(), &r.status, sizeof r.status);
  std::memcpy(bytes.data() + sizeof r.status, &length, sizeof length);
  return bytes + r.message + r.report;
}

outcome decode(const std::string& bytes) {
  outcome r;
  std::uint64_t length = 0;
  std::memcpy(&r.status, bytes.data(), sizeof r.status);
  std::memcpy(&length, bytes.data() + sizeof r.status, sizeof length);
  const std::size_t start = sizeof r.status + sizeof length;
  r.message = bytes.substr(start, length);
  r.report = bytes.substr(start + length);
  return r;
}

}  // namespace

int run_batch(const options& o, work_sharing& group, std::ostream& out, std::ostream& err, const file_work& work,
              const batch_layout& layout) {
  const bool listed = o.json && !(layout.own_document && o.files.size() == 1);
  auto run_file = [&](std::size_t i) {
    const std::string& path = o.files[i];
    outcome r;
    std::ostringstream text;
    json_writer json;
    if (o.json) json.begin_object();
    if (listed) json.key("status").value(0);
    r.status = guarded(path, err, [&] { work(path, err, text, json); }, &r.message);
    if (r.status == 0) r.report = o.json ? json.end_object().str() : text.str();
    return encode(r);
  };

  std::vector<std::optional<outcome>> done(o.files.size());
  std::size_t printed = 0;
  bool any_text = false;
  auto receive = [&](std::size_t i, std::string&& bytes) {
    done[i] = decode(bytes);
    for (; printed < done.size() && done[printed]; ++printed) {
      if (o.json || done[printed]->status != 0) continue;
      out << (any_text ? layout.between : "") << done[printed]->report << std::flush;
      any_text = true;
    }
  };
  work_sharing::ordering order;
  if (group.ranks() > 1) order = [&] { return largest_first(o.files); };
  group.share(o.files.size(), run_file, receive, order);
  if (group.rank() != 0) return 0;

  int worst = 0;
  for (const auto& r : done) worst = std::max(worst, static_cast<int>(r->status));
  if (!o.json) return worst;
  if (!listed) {
    out << done.front()->report << std::flush;
    return worst;
  }
  json_writer doc;
  doc.begin_object().key("files").begin_array();
  for (std::size_t i = 0; i < done.size(); ++i) {
    if (done[i]->status == 0) {
      doc.document(done[i]->report);
    } else {
      doc.begin_object().key("status").value(done[i]->status).key("file").value(o.files[i]);
      doc.key("error").value(done[i]->message).end_object();
    }
  }
  out << doc.end_array().key("status").value(worst).end_object().str() << std::flush;
  return worst;
}

}  // namespace tbrelax::tbcalc
