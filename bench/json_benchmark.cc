// Decoding a 500 KB document into JSONValue against simdjson's own DOM parse of the same bytes;
// compact encoding throughput; and an object of 100 000 distinct keys against the same key
// strings as an array, which shows that object decoding stays linear in its members.
#include <simdjson.h>

#include <cstdio>
#include <random>
#include <string>

#include "bench/ratio_reporter.h"
#include "tarnwell/core/json_value.h"

namespace {

// A content-bundle-like document: many small records with ids, texts, numbers, flags and a
// little nesting, about 500 KB.
std::string makeDocument() {
  std::mt19937 random(7);
  tarnwell::JSONArray records;
  std::string document;
  for (int i = 0; document.size() < 500 * 1024; ++i) {
    tarnwell::JSONArray options;
    for (int o = 0; o < 4; ++o) {
      options.push_back(tarnwell::JSONObject{{"id", "opt_" + std::to_string(o)},
                                             {"label", "Option label number " + std::to_string(random() % 1000)},
                                             {"value", static_cast<double>(random() % 100) / 4}});
    }
    records.push_back(tarnwell::JSONObject{
        {"$id", "rec_" + std::to_string(i)},
        {"name", "Record name " + std::to_string(random())},
        {"status", i % 3 == 0 ? "published" : "draft"},
        {"priority", static_cast<double>(random() % 50)},
        {"enabled", i % 2 == 0},
        {"description", std::string(40 + random() % 80, 'a' + static_cast<char>(i % 26))},
        {"options", std::move(options)},
        {"targeting", tarnwell::JSONObject{{"operator", "equals"}, {"field", "user.plan"}, {"value", nullptr}}},
    });
    if (i % 50 == 49) {
      document = tarnwell::JSONValue(records).encode();
    }
  }
  return tarnwell::JSONValue(tarnwell::JSONObject{{"items", std::move(records)}}).encode();
}

const std::string& document() {
  static const std::string bytes = makeDocument();
  return bytes;
}

void BM_SimdjsonDomParse(benchmark::State& state) {
  simdjson::dom::parser parser;
  const std::string& bytes = document();
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(bytes.data(), bytes.size(), true).get(root)) {
      state.SkipWithError("parse failed");
    }
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_SimdjsonDomParse);

// Decodes `bytes` on every iteration; tearing the tree down is not part of parsing it.
void decodeRepeatedly(benchmark::State& state, const std::string& bytes) {
  for (auto _ : state) {
    tarnwell::JSONValue value = tarnwell::JSONValue::decode(bytes);
    benchmark::DoNotOptimize(value);
    state.PauseTiming();
    value = tarnwell::JSONValue();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}

void BM_JSONValueDecode(benchmark::State& state) { decodeRepeatedly(state, document()); }
BENCHMARK(BM_JSONValueDecode);

void BM_JSONValueEncode(benchmark::State& state) {
  const tarnwell::JSONValue value = tarnwell::JSONValue::decode(document());
  std::size_t size = 0;
  for (auto _ : state) {
    std::string out;
    out.reserve(document().size());
    value.encodeTo(out);
    size = out.size();
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}
BENCHMARK(BM_JSONValueEncode);

// {"00000":1,"00001":1,...} or ["00000","00001",...]. Keys this short keep both documents under
// the 1 MB a thread's parser retains, so the two differ only in the object path, not in the
// page faults of a one-off parser's fresh buffers.
std::string manyKeys(bool asObject) {
  std::string out(1, asObject ? '{' : '[');
  char key[16];
  for (int i = 0; i < 100000; ++i) {
    std::snprintf(key, sizeof key, "\"%05d\"", i);
    out.append(key).append(asObject ? ":1," : ",");
  }
  out.back() = asObject ? '}' : ']';
  return out;
}

void BM_DecodeObjectOfDistinctKeys(benchmark::State& state) {
  static const std::string bytes = manyKeys(true);
  decodeRepeatedly(state, bytes);
}
BENCHMARK(BM_DecodeObjectOfDistinctKeys);

void BM_DecodeArrayOfTheSameKeys(benchmark::State& state) {
  static const std::string bytes = manyKeys(false);
  decodeRepeatedly(state, bytes);
}
BENCHMARK(BM_DecodeArrayOfTheSameKeys);

}  // namespace

int main(int argc, char** argv) {
  return tarnwell::bench::runWithRatios(argc, argv,
                                        {{"BM_JSONValueDecode", "BM_SimdjsonDomParse", 3.0},
                                         {"BM_DecodeObjectOfDistinctKeys", "BM_DecodeArrayOfTheSameKeys", 3.0}},
                                        {{"BM_JSONValueEncode", 300e6}});
}
