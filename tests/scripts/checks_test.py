"""The checks of the sources find what they are there to find, and nothing in a tree that is sound."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts"

SOUND = {
    "core/kxbase/CMakeLists.txt": "src/x.cpp",
    "core/kxbase/include/kxbase/x.h": """
        namespace kxbase {
        /// A class.
        class KXBASE_EXPORT a_class final : public b {
        public:
            a_class() = default;
            a_class(a_class const&);
            /// A member; its overload shares the text.
            template <class T>
            [[nodiscard]] T member(T value) const;
            [[nodiscard]] int member(char const* text = ") {") const;
            [[nodiscard]] bool is_there() const { return there_ == '{'; }
        private:
            void hidden();
            int there_ = f("// no comment {");
        };
        enum class e_kind { one, two };
        inline constexpr int table[] = {1, 2};
        } // namespace kxbase
        """,
    "core/kxbase/src/x.cpp": "#include <kxbase/x.h>\n#include <zlib.h>\n#include <vector>\n",
    "core/kxcore/CMakeLists.txt": "src/c.cpp",
    "core/kxcore/include/kxcore/c.h": "#include <kxbase/x.h>\n#include <string>\n",
    "core/kxcore/src/c.cpp": "#include <kxcore/c.h>\n#include \"c_private.h\"\n#include <expat.h>\n",
    "core/kxcore/src/c_private.h": "#include <unistd.h>\n",
    "include/kxclientutil/empty.h": "",
    "src/CMakeLists.txt": "",
    "tools/CMakeLists.txt": "",
    "tests/kxbase/CMakeLists.txt": "x_test.cpp",
    "tests/kxbase/x_test.cpp": "#include <gmock/gmock.h>\n",
    "tests/kxcore/CMakeLists.txt": "c_test.cpp c_more_test.cpp",
    "tests/kxcore/c_test.cpp": "#include \"c_private.h\"\n",
    "tests/kxcore/c_more_test.cpp": "",
    "tests/kxclientutil/CMakeLists.txt": "empty_test.cpp",
    "tests/kxclientutil/empty_test.cpp": "",
}


def run(check, changes):
    """Exit code and findings of a check on the sound tree with some files replaced, added, or left out (None)."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in {**SOUND, **changes}.items():
            if text is not None:
                file = pathlib.Path(folder, name)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text, encoding="utf-8")
        done = subprocess.run([sys.executable, SCRIPTS / check, "--root", folder], capture_output=True, text=True)
        return done.returncode, done.stderr


def function_of(lines):
    return "int f(int a)\n{\n" + "    if (a) { g('{'); }\n" * (lines - 3) + "}\n"


class checks_test(unittest.TestCase):
    def finds(self, check, changes, *expected):
        code, findings = run(check, changes)
        for text in expected:
            self.assertIn(text, findings)
        self.assertEqual(len(findings.splitlines()), len(expected), findings)
        self.assertEqual(code, 1 if expected else 0)

    def test_a_sound_tree_passes(self):
        self.finds("check-includes", {})
        self.finds("check-mirror", {})

    def test_an_empty_tree_fails(self):
        nothing = dict.fromkeys(SOUND)
        self.finds("check-includes", nothing, "no sources found")
        self.finds("check-mirror", nothing, "no headers found")

    def test_layers(self):
        self.finds("check-includes", {"core/kxbase/src/x.cpp": "#include <kxcore/c.h>\n"}, "x.cpp:1: kxcore/c.h")
        self.finds("check-includes", {"core/kxcore/src/c.cpp": "#include <kxclientutil/empty.h>\n"}, "must not know")
        self.finds("check-includes", {"core/kxcore/src/c.cpp": "#include <kxbase/export.h>\n"})
        self.finds("check-includes", {"core/kxbase/src/x.cpp": "#include <kxcore/export.h>\n"}, "must not know")
        self.finds("check-includes", {"core/kxcore/src/c.cpp": "#include <kxbase/gone.h>\n"}, "no such header")

    def test_private_headers(self):
        self.finds("check-includes", {"src/s.cpp": '#include "../core/kxcore/src/c_private.h"\n'}, "private header of")
        self.finds("check-includes", {"core/kxcore/include/kxcore/c.h": '#include "../../src/c_private.h"\n'},
                   "a public header must not include a private one")

    def test_foreign_headers(self):
        self.finds("check-includes", {"core/kxcore/include/kxcore/c.h": "#include <expat.h>\n"}, "headers include")
        self.finds("check-includes", {"core/kxcore/include/kxcore/c.h": "#include <unistd.h>\n"}, "headers include")
        self.finds("check-includes", {"core/kxcore/src/c.cpp": "#include <zlib.h>\n"}, "its users: kxbase")
        self.finds("check-includes", {"core/kxcore/src/c.cpp": "#include <frob.h>\n"}, "unknown header")

    def test_circles(self):
        self.finds("check-includes", {"core/kxcore/src/c_private.h": "#include <kxcore/d.h>\n",
                                      "core/kxcore/include/kxcore/d.h": '#include <kxcore/e.h>\n',
                                      "core/kxcore/include/kxcore/e.h": '#include <kxcore/d.h>\n'},
                   "circle: core/kxcore/include/kxcore/d.h -> core/kxcore/include/kxcore/e.h -> ")

    def test_headers_without_tests_and_tests_without_sources(self):
        self.finds("check-mirror", {"tests/kxbase/x_test.cpp": None, "tests/kxclientutil/empty_test.cpp": None},
                   "x.h:1: no test", "empty.h:1: no test")
        self.finds("check-mirror", {"core/kxcore/src/p.h": "", "core/kxcore/src/p.cpp": "",
                                    "core/kxcore/CMakeLists.txt": "src/c.cpp src/p.cpp"}, "p.h:1: no test")
        self.finds("check-mirror", {"tests/kxbase/y_test.cpp": ""}, "no header or source of that name", "not built")

    def test_a_family_in_a_folder(self):
        self.finds("check-mirror", {"tests/kxclientutil/empty_test.cpp": None, "src/empty/any.cpp": "",
                                    "src/CMakeLists.txt": "empty/any.cpp", "tests/kxclientutil/empty/any_test.cpp": "",
                                    "tests/kxclientutil/CMakeLists.txt": "empty/any_test.cpp"})

    def test_tests_that_include_sources(self):
        self.finds("check-mirror", {"tests/kxbase/x_test.cpp": '#include "../../core/kxbase/src/x.cpp"\n'},
                   "includes a source file")

    def test_sizes(self):
        source, header = "core/kxbase/src/x.cpp", "core/kxbase/include/kxbase/x.h"
        for name, text, *expected in (
                (source, "//\n" * 700),
                (source, "//\n" * 701, "701 lines, at most 700"),
                (header, "//\n" * 401, "401 lines, at most 400"),
                ("tests/kxbase/x_test.cpp", "//\n" * 801, "801 lines, at most 800"),
                (source, function_of(60)),
                (source, function_of(61), "x.cpp:1: function of 61 lines, at most 60"),
                (source, "row const rows[] = {\n" + "    {1, 2},\n" * 90 + "};\n")):
            self.finds("check-mirror", {name: text}, *expected)

    def test_files_that_nothing_builds(self):
        self.finds("check-mirror", {"core/kxbase/CMakeLists.txt": "# src/x.cpp\nsrc/x.cpp.in\n"}, "not built")

    def test_docstrings(self):
        for declaration in ("int free_one(int a);", "template <class T> T free_one(T a);",
                            "void with_default(std::vector<int> a = {});", "inline int f(int a) {\n    return a;\n}"):
            for docstring, *expected in (("", "no docstring"), ("/// Text.",)):
                self.finds("check-mirror", {"core/kxbase/include/kxbase/x.h":
                                            f"namespace kxbase {{\n{docstring}\n{declaration}\n}}\n"}, *expected)
        for members in ("struct s {\n    void f();\n};", "class c {\npublic:\n    explicit c(int a);\n};"):
            self.finds("check-mirror", {"core/kxbase/include/kxbase/x.h": f"/// Text.\n{members}\n"}, "no docstring")


if __name__ == "__main__":
    unittest.main()
