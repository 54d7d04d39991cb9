#include "sample_data.h"

#include <algorithm>
#include <random>

namespace kxbench {
namespace {

constexpr unsigned int seed = 20'250'101;

using random_source = std::mt19937;

std::size_t pick(random_source& random, std::size_t count) {
    return random() % count;
}

plain_value text(std::string value) {
    return {std::move(value)};
}

plain_value number(std::int64_t value) {
    return {value};
}

plain_value flag(bool value) {
    return {value};
}

plain_value tree(plain_tree members) {
    std::ranges::sort(members, {}, &plain_tree::value_type::first);
    return {std::move(members)};
}

std::string word(random_source& random) {
    static constexpr char const* words[] = {"news",  "sport",  "trailer", "interview", "archive",
                                            "promo", "master", "evening", "studio",    "weather"};
    return words[pick(random, std::size(words))];
}

std::string file_url(random_source& random) {
    return "file:/media/" + word(random) + "/" + std::to_string(2015 + pick(random, 12)) + "/" + word(random) + "-" +
           std::to_string(random() % 100'000) + ".mov";
}

std::string wtid(std::size_t index) {
    return "wtid:task/regular/ogencoder/1.0#task-" + std::to_string(index);
}

std::string upload_wtid(std::size_t index) {
    return "wtid:task/regular/upload/1.0#upload-" + std::to_string(index);
}

plain_value video(random_source& random) {
    return tree(
        {{"codec", text("h264")},
         {"bit-rate", number(static_cast<std::int64_t>(500 + random() % 20'000))},
         {"width", number(1920)},
         {"height", number(1080)},
         {"frame-rate", text("25/1")},
         {"gop", tree({{"closed", flag(true)}, {"length", number(static_cast<std::int64_t>(12 + random() % 100))}})}});
}

plain_value audio(random_source& random) {
    return tree({{"codec", text("aac")},
                 {"bit-rate", number(static_cast<std::int64_t>(64 + random() % 320))},
                 {"channels", number(2)},
                 {"sample-rate", number(48'000)},
                 {"normalize", flag(random() % 2 == 0)}});
}

plain_value configuration(random_source& random) {
    return tree({{"source-url", text(file_url(random))},
                 {"dest-dir-url", text("file:/out/" + word(random) + "/")},
                 {"dest-filename", {plain_list{text("$source.filename$"), text("-"), text("$encoder.name$")}}},
                 {"container", text("mp4")},
                 {"overwrite", flag(random() % 2 == 0)},
                 {"faststart", flag(true)},
                 {"retries", number(3)},
                 {"video", video(random)},
                 {"audio", audio(random)}});
}

plain_value task(random_source& random, std::size_t index) {
    return tree({{"id", text(wtid(index))},
                 {"plugin-id", text("task/regular/ogencoder/1.0")},
                 {"name", text(word(random) + " " + std::to_string(index))},
                 {"ext-meta", tree({{"note", text(word(random) + " " + word(random))}})},
                 {"configuration", configuration(random)}});
}

plain_value workflow(random_source& random, std::size_t tasks) {
    plain_list list;
    for (std::size_t index = 0; index < tasks; ++index)
        list.push_back(task(random, index));
    return tree({{"name", text("Benchmark")}, {"tasks", {std::move(list)}}});
}

plain_value delivery(char const* node, std::string const& to, char const* input) {
    return tree({{"node-id", text(node)}, {"destinations", {plain_list{text("workflow:" + to + ">" + input)}}}});
}

plain_value old_encoder(random_source& random, std::size_t index) {
    std::string const upload = upload_wtid(index);
    return tree({{"id", text(wtid(index))},
                 {"ext-meta", tree({{"name", text(word(random) + " " + std::to_string(index))}})},
                 {"configuration", configuration(random)},
                 {"post-actions",
                  {plain_list{delivery("dest-url", upload, "source-url"),
                              delivery("encoder.name", upload, "dest-filename[1]")}}}});
}

plain_value old_upload(random_source& random, std::size_t index) {
    return tree({{"id", text(upload_wtid(index))},
                 {"configuration", tree({{"name", text(word(random))},
                                         {"source-url", text(file_url(random))},
                                         {"dest-dir-url", text("kxvar:/#same-as-source")},
                                         {"dest-filename", {plain_list{text("$source-filename$"), text("")}}},
                                         {"overwrite", flag(random() % 2 == 0)}})}});
}

plain_value old_workflow(random_source& random, std::size_t encoders) {
    plain_list tasks;
    for (std::size_t index = 0; index < encoders; ++index) {
        tasks.push_back(old_encoder(random, index));
        tasks.push_back(old_upload(random, index));
    }
    return tree({{"name", text("Benchmark")},
                 {"ext-meta", tree({{"comment", text(word(random) + " " + word(random))}})},
                 {"tasks", {std::move(tasks)}}});
}

plain_value file(random_source& random, std::size_t tasks) {
    plain_list targets;
    for (std::size_t count = 1 + pick(random, 3); count != 0; --count) {
        targets.push_back(text("workflow:" + wtid(pick(random, std::max<std::size_t>(tasks, 1))) + ">source-url"));
    }
    return tree({{"url", text(file_url(random))}, {"targets", {std::move(targets)}}});
}

std::size_t count_all(plain_list const& list) {
    std::size_t count = 0;
    for (auto const& element : list)
        count += count_nodes(element);
    return count;
}

std::size_t count_all(plain_tree const& members) {
    std::size_t count = 0;
    for (auto const& [key, value] : members)
        count += count_nodes(value);
    return count;
}

} // namespace

plain_value make_submission(std::size_t tasks, std::size_t files) {
    random_source random(seed);
    plain_value graph = workflow(random, tasks);
    plain_list list;
    for (std::size_t index = 0; index < files; ++index)
        list.push_back(file(random, tasks));
    return tree({{"name", text("Benchmark")},
                 {"workflow", std::move(graph)},
                 {"file-source", tree({{"name", text("Files")}, {"files", {std::move(list)}}})}});
}

std::vector<plain_value> make_old_workflows(std::size_t count) {
    random_source random(seed);
    std::vector<plain_value> workflows;
    for (std::size_t index = 0; index < count; ++index)
        workflows.push_back(old_workflow(random, 1 + pick(random, 40)));
    return workflows;
}

plain_value make_wide_tree() {
    random_source random(seed);
    plain_tree siblings;
    for (std::size_t index = 0; index < 1'000; ++index) {
        std::string const number_text = std::to_string(1'000 + index);
        siblings.emplace_back("item-" + number_text, task(random, index));
    }
    return tree({{"workflow", tree({{"by-name", tree(std::move(siblings))}})}});
}

std::vector<std::string> const& deep_leaf_steps() {
    static std::vector<std::string> const steps = {"workflow",      "by-name", "item-1500",
                                                   "configuration", "video",   "bit-rate"};
    return steps;
}

std::size_t count_nodes(plain_value const& value) {
    if (auto const* list = std::get_if<plain_list>(&value.content)) return 1 + count_all(*list);
    if (auto const* members = std::get_if<plain_tree>(&value.content)) return 1 + count_all(*members);
    return 1;
}

} // namespace kxbench
