#include "kxclientutil/support/wired_fixture.h"

#include <tuple>

namespace kxclientutil {

namespace {

using kx_test::captured_report;
using kx_test::context;
using kx_test::encoder_plid;
using kx_test::fed;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::mbr_plid;
using kx_test::task_of;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kx_test::youtube_plid;
using kxcore::properties;

/// Variables that mean another task: the encoder, the packager or the delivery before or after the one that has them.
class workflow_variable_values : public kx_test::wired_fixture {
protected:
    std::string const package = wtid(mbr_plid, "package");
    std::string const youtube = wtid(youtube_plid, "channel");

    /// A mail with that subject, after the tasks.
    void use_mail_after(std::vector<std::string> const& chain, char const* subject) {
        submission = *tree({{"name", text("Submission")}});
        std::vector<kxcore::property_handle> tasks{task_of(mail_plid, "mail", tree({{"subject", text(subject)}}))};
        for (std::string const& each : chain)
            tasks.push_back(tree({{"id", text(each)},
                                  {"name", text("the " + each.substr(each.find('#') + 1))},
                                  {"configuration", tree({{"package-name", text("pack")}})}}));
        std::vector<wf_connection> connections;
        for (std::size_t i = 1; i < chain.size(); ++i)
            connections.emplace_back(chain[i - 1], chain[i], "success");
        if (!chain.empty()) connections.emplace_back(chain.back(), mail, "success");
        use_wired(tasks, connections);
    }

    /// The variable is connected, and stays where it stands.
    void expect_connected(std::vector<std::string> const& chain, char const* subject, std::string const& from,
                          char const* output) {
        captured_report const log;
        use_mail_after(chain, subject);
        finalize();
        EXPECT_EQ(configuration(mail), *tree({{"subject", text(subject)}})) << subject;
        auto const* const wires = task(mail).find("input-connections");
        ASSERT_TRUE(wires) << subject;
        EXPECT_EQ(*wires, *list({fed(from, output, "subject")})) << subject;
        EXPECT_TRUE(log.lines().empty()) << subject;
    }

    void expect_value(std::vector<std::string> const& chain, char const* subject,
                      kxcore::property_handle const& value) {
        captured_report const log;
        use_mail_after(chain, subject);
        finalize();
        EXPECT_EQ(configuration(mail), *tree({{"subject", value}})) << subject;
        EXPECT_FALSE(task(mail).find("input-connections")) << subject;
        EXPECT_TRUE(log.lines().empty()) << subject;
    }

    /// The variable stays, unconnected, and this is all that is said.
    void expect_left(std::vector<std::string> const& chain, char const* subject, std::string const& message) {
        captured_report const log;
        use_mail_after(chain, subject);
        finalize();
        EXPECT_EQ(configuration(mail), *tree({{"subject", text(subject)}})) << subject;
        EXPECT_FALSE(task(mail).find("input-connections")) << subject;
        ASSERT_EQ(log.messages(), std::vector<std::string>{message}) << subject;
        auto const line = log.lines().front();
        EXPECT_EQ(line.category, "ClientProxy");
        EXPECT_EQ(line.kind, 4U);
        EXPECT_EQ(line.severity, 4U);
        EXPECT_EQ(line.file, kx_test::submission_path);
        EXPECT_GT(line.line, 0U);
    }
};

TEST_F(workflow_variable_values, of_an_encoder_are_its_outputs) {
    use_outputs(encoder_plid, {"media-info-xml-url", "output-media-info", "input-media-info", "input-duration-s",
                               "input-anything", "bitrate-kbps", "duration-hms", "anything", "input-", "-"});
    constexpr std::pair<char const*, char const*> cases[] = {
        {"$encoder.output-bitrate-kbps$", "bitrate-kbps"},
        {"encoder.output-duration-hms", "duration-hms"},
        {"$encoder.input-duration-s$", "input-duration-s"},
        {"kxvar:/#encoder.media-info-xml-url", "media-info-xml-url"},
        {"kxvar:/#encoder.output-media-info", "output-media-info"},
        {"kxvar:/#encoder.input-media-info", "input-media-info"},
        {"kxvar:/#encoder.input-anything", "input-anything"},
        {"kxvar:/#encoder.output-anything", "anything"},
        {"kxvar:/?query#encoder.output-anything", "anything"},
        {"kxvar:/#encoder.input-", "input-"},
        {"kxvar:/#encoder.output--", "-"},
    };
    for (auto const& [variable, output] : cases)
        expect_connected({encoder, upload}, variable, encoder, output);
}

TEST_F(workflow_variable_values, of_an_encoder_need_one) {
    // The text of the variable where the words promise the id of a plugin: log filters know the line.
    for (char const* variable :
         {"$encoder.output-bitrate-kbps$", "kxvar:/#encoder.media-info-xml-url", "encoder.input-framerate"})
        for (auto const& chain : {std::vector<std::string>{}, std::vector<std::string>{upload}})
            expect_left(chain, variable,
                        "Unable to resolve kxvar since no task with plid:'" + std::string(variable) + "' found");
}

TEST_F(workflow_variable_values, of_an_encoder_stay_in_silence_when_it_has_no_such_output) {
    captured_report const log;
    use_mail_after({encoder}, "kxvar:/#encoder.output-anything");
    finalize();
    EXPECT_EQ(configuration(mail), *tree({{"subject", text("kxvar:/#encoder.output-anything")}}));
    EXPECT_FALSE(task(mail).find("input-connections"));
    EXPECT_TRUE(log.lines().empty());
}

// Preparing a package counts as encoding elsewhere, not here.
TEST_F(workflow_variable_values, of_an_encoder_are_not_those_of_a_preparation) {
    expect_left({wtid(kx_test::prepare_plid, "p")}, "$encoder.name$",
                "Unable to resolve 'encoder.name' since no task found");
}

TEST_F(workflow_variable_values, name_the_task) {
    for (char const* form : {"$encoder.name$", "encoder.name", "kxvar:/#encoder.name", "kxvar:/?query#encoder.name"})
        expect_value({encoder, upload}, form, text("the encoder"));
    for (char const* form : {"$mbr.name$", "mbr.name", "kxvar:/#mbr.name"})
        expect_value({package, upload}, form, text("the package"));
    for (char const* form : {"$deployment.name$", "deployment.name", "kxvar:/#deployment.any.name",
                             "kxvar:/#deployment.filename", "kxvar:/#deployment.-name"})
        expect_value({encoder, upload}, form, text("the upload"));
}

TEST_F(workflow_variable_values, name_an_upload_before_a_channel) {
    expect_value({upload, youtube}, "$deployment.name$", text("the upload"));
    expect_value({encoder, youtube}, "$deployment.name$", text("the channel"));
}

TEST_F(workflow_variable_values, name_no_task_that_is_not_there) {
    for (auto const& chain : {std::vector<std::string>{}, std::vector<std::string>{wtid(mail_plid, "other")}}) {
        expect_left(chain, "$encoder.name$", "Unable to resolve 'encoder.name' since no task found");
        expect_left(chain, "$mbr.name$", "Unable to resolve 'mbr.name' since no task found");
        expect_left(chain, "$mbr.package-name$", "Unable to resolve 'mbr.package-name' since no task found");
        expect_left(chain, "$deployment.name$", "Unable to resolve 'deployment.name' since no deployemnt task found");
    }
}

// An exact connection is a wish, and may name what is not there.
TEST_F(workflow_variable_values, name_no_task_that_was_only_wished_for) {
    for (auto const& [variable, plid, message] :
         {std::tuple{"$encoder.name$", encoder_plid, "Unable to resolve 'encoder.name' since no task found"},
          std::tuple{"$mbr.package-type$", mbr_plid, "Unable to resolve 'mbr.package-type' since no task found"},
          std::tuple{"$deployment.name$", upload_plid,
                     "Unable to resolve 'deployment.name' since no deployemnt task found"}}) {
        use_wired({task_of(mail_plid, "mail", tree({{"subject", text(variable)}}))},
                  {{wtid(plid, "gone"), "dest-url", mail, "message"}});
        captured_report const log;
        finalize();
        EXPECT_EQ(log.messages(), std::vector<std::string>{message});
        EXPECT_EQ(configuration(mail), *tree({{"subject", text(variable)}}));
    }
}

TEST_F(workflow_variable_values, of_a_packager_are_its_settings) {
    auto const packager = tree({{"package-name", text("News")},
                                {"package-type", text("hls")},
                                {"parts", texts({"a", "b"})},
                                {"nested", tree({{"key", text("x")}})}});
    auto const subject_of = [&](char const* variable) {
        use_wired({task_of(mbr_plid, "package", packager),
                   task_of(upload_plid, "upload", tree({{"subject", text(variable)}}))},
                  {{package, upload}});
        finalize();
        return configuration(upload).get_property("subject");
    };
    captured_report const log;
    EXPECT_EQ(*subject_of("$mbr.package-name$"), *text("News"));
    EXPECT_EQ(*subject_of("mbr.package-type"), *text("hls"));
    EXPECT_EQ(*subject_of("kxvar:/#mbr.parts"), *texts({"a", "b"}));
    EXPECT_EQ(*subject_of("kxvar:/?query#mbr.nested"), *tree({{"key", text("x")}}));
    // A setting that is not there sets nothing, and neither does a path: only members are asked for.
    for (char const* left : {"kxvar:/#mbr.", "kxvar:/#mbr.none", "kxvar:/#mbr.nested%7Bkey%7D", "kxvar:/#mbr.parts[0]"})
        EXPECT_EQ(*subject_of(left), *text(left));
    EXPECT_TRUE(log.lines().empty());
}

// Tasks are resolved in the order of their wtids: mail, mbr, upload.
TEST_F(workflow_variable_values, of_a_packager_are_resolved_as_far_as_it_was_its_turn) {
    auto const packager = tree({{"a", text("$mbr.package-name$")}, {"package-name", text("$source.filename$")}});
    use_wired({task_of(mbr_plid, "package", packager),
               task_of(upload_plid, "upload", tree({{"name", text("$mbr.package-name$")}})),
               task_of(mail_plid, "mail", tree({{"subject", text("$mbr.package-name$")}}))},
              {{package, upload}, {upload, mail}});
    finalize();
    auto const name = context("workflow.spawn-value?url.path_name");
    EXPECT_EQ(configuration(mail), *tree({{"subject", text("$source.filename$")}}));
    EXPECT_EQ(configuration(package), *tree({{"a", text("$source.filename$")}, {"package-name", name}}));
    EXPECT_EQ(configuration(upload), *tree({{"name", name}}));
}

TEST_F(workflow_variable_values, of_a_packager_are_its_own_too) {
    use_wired({task_of(mbr_plid, "package",
                       tree({{"manifest", text("$mbr.package-name$")},
                             {"package-name", text("$source.filename$")},
                             {"segment", texts({"$mbr.package-name$", "kxvar:/#mbr.manifest", "-"})}})),
               task_of(upload_plid, "upload", tree({}))},
              {{package, upload}});
    finalize();
    auto const name = context("workflow.spawn-value?url.path_name");
    EXPECT_EQ(configuration(package), *tree({{"manifest", text("$source.filename$")},
                                             {"package-name", name},
                                             {"segment", list({name, text("$source.filename$"), text("-")})}}));
}

TEST_F(workflow_variable_values, of_a_delivery_are_outputs_of_an_upload) {
    use_outputs(upload_plid, {"dest-url", "outfile-path", "outfile-name", "outfile-extension", "outfile-file",
                              "x.dest-url", "my-outfile-name"});
    constexpr std::pair<char const*, char const*> cases[] = {
        {"$deployment.dest-url$", "dest-url"},
        {"$destination.url$", "dest-url"},
        {"destination.path", "outfile-path"},
        {"$destination.filename$", "outfile-name"},
        {"$deployment.outfile-name$", "outfile-name"},
        {"$deployment.outfile-extension$", "outfile-extension"},
        {"kxvar:/#deployment.outfile-file", "outfile-file"},
        {"kxvar:/#deployment.x.dest-url", "x.dest-url"},
        {"kxvar:/#deployment.my-outfile-name", "my-outfile-name"},
    };
    for (auto const& [variable, output] : cases)
        expect_connected({encoder, upload}, variable, upload, output);
}

TEST_F(workflow_variable_values, of_a_delivery_are_outputs_of_no_channel) {
    expect_left({encoder, youtube}, "$deployment.dest-url$",
                "Unable to resolve 'deployment.dest-url' since no transfer task found");
    // The alias is told by what it stands for.
    expect_left({}, "$destination.filename$",
                "Unable to resolve 'deployment.outfile-name' since no transfer task found");
}

// No task of the chain has a status while the job is made, whether there is such a task or not.
TEST_F(workflow_variable_values, give_no_status) {
    for (auto const& chain : {std::vector<std::string>{}, std::vector<std::string>{encoder, upload}}) {
        expect_left(chain, "kxvar:/#encoder.status", "Unable to resolve 'encoder.status' (not supported)");
        expect_left(chain, "kxvar:/#deployment.status", "Unable to resolve 'deployment.status' (not supported)");
        expect_left(chain, "kxvar:/#deployment.last-status",
                    "Unable to resolve 'deployment.last-status' (not supported)");
    }
}

TEST_F(workflow_variable_values, know_no_other_names) {
    for (char const* name :
         {"encoder.", "encoder.names", "encoder.outputs", "encoder.input", "encoder.Status", "encoder.media-info-xml",
          "deployment.", "deployment.dest", "deployment.url", "deployment.Name", "deployment.status-text",
          "deployment.outfile", "mbr", "encoder", "deployment"})
        expect_left({encoder, package, upload}, ("kxvar:/#" + std::string(name)).c_str(),
                    "Unknown variable '" + std::string(name) + "'");
}

TEST_F(workflow_variable_values, are_connected_where_they_stand) {
    use_outputs(encoder_plid, {"bitrate-kbps"});
    use_wired({task_of(encoder_plid, "encoder", tree({})),
               task_of(mail_plid, "mail",
                       tree({{"message", list({text("rate "), kx_test::number(1), text("$encoder.output-bitrate-kbps$"),
                                               tree({{"deep", text("$encoder.output-bitrate-kbps$")}})})},
                             {"subject", texts({"$encoder.name$", "$encoder.output-bitrate-kbps$"})}}))},
              {{encoder, mail}});
    finalize();
    EXPECT_EQ(wiring(mail), *tree({{"input-connections", list({
                                                             fed(encoder, "bitrate-kbps", "message[2]"),
                                                             fed(encoder, "bitrate-kbps", "message[3]{deep}"),
                                                             fed(encoder, "bitrate-kbps", "subject[1]"),
                                                         })}}));
    EXPECT_EQ(kx_test::texts_at(configuration(mail), "subject"),
              (std::vector<std::string>{"encoder", "$encoder.output-bitrate-kbps$"}));
}

// A task further on can feed one before it only if nothing flows the other way already.
TEST_F(workflow_variable_values, stay_in_silence_when_a_connection_would_close_a_circle) {
    auto const before = task_of(encoder_plid, "encoder", tree({{"note", text("$deployment.dest-url$")}}));
    use_wired({before, task_of(upload_plid, "upload", tree({}))}, {{encoder, upload, "success"}});
    captured_report const log;
    finalize();
    EXPECT_EQ(wiring(encoder), *tree({}));
    EXPECT_TRUE(log.lines().empty());

    use_wired({before, task_of(upload_plid, "upload", tree({}))}, {{encoder, upload}});
    finalize();
    EXPECT_EQ(wiring(encoder), *tree({{"input-connections", list({fed(upload, "dest-url", "note")})}}));
}

} // namespace

} // namespace kxclientutil
