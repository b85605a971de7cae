#!/usr/bin/env python3
"""The layer check itself: it must catch an include that points up and let the rest through."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-layers"


def run_on(files: dict[str, str]) -> subprocess.CompletedProcess:
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = pathlib.Path(root, "tarnwell", name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        return subprocess.run([sys.executable, str(CHECK), root], capture_output=True, text=True)


class CheckLayersTest(unittest.TestCase):
    def test_an_include_of_a_higher_layer_fails_and_is_named(self):
        result = run_on({"core/json_value.h": '#include "tarnwell/sdk/facade.h"\n', "sdk/facade.h": "",
                         "tarnwell.h": "#include <tarnwell/core/json_value.h>\n"})
        self.assertEqual(result.returncode, 1)
        self.assertIn("tarnwell/core/json_value.h (core) includes tarnwell/sdk/facade.h (sdk), a layer above",
                      result.stdout)

    def test_a_record_may_not_include_the_manager_beside_it(self):
        result = run_on({"surveys/survey.h": "#include <tarnwell/surveys/detail/survey_manager.h>\n"})
        self.assertEqual(result.returncode, 1)
        self.assertIn("(records) includes tarnwell/surveys/detail/survey_manager.h (delivery)", result.stdout)

    def test_includes_of_the_same_or_lower_layers_pass(self):
        result = run_on({
            "tarnwell.h": "#include <tarnwell/content/runtime_bundle.h>\n",
            "surveys/detail/survey_manager.h": '#include "tarnwell/content/runtime_bundle.h"\n',
            "targeting/rule_condition.h": "",
            "content/runtime_bundle.h": '#include "tarnwell/surveys/survey.h"\n#include "tarnwell/export.h"\n',
            "surveys/survey.h": '#include "tarnwell/targeting/rule_condition.h"\n#include <tarnwell/version.h>\n',
        })
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_the_umbrella_reaches_exactly_the_headers_outside_detail(self):
        result = run_on({
            "tarnwell.h": "#include <tarnwell/core/json_value.h>\n",
            "core/json_value.h": '#include "tarnwell/core/detail/text.h"\n',
            "core/detail/text.h": "",
            "core/color.h": "",
        })
        self.assertEqual(result.returncode, 1)
        self.assertIn("tarnwell/core/detail/text.h is internal but an umbrella header reaches it", result.stdout)
        self.assertIn("tarnwell/core/color.h is installed but no umbrella header reaches it", result.stdout)

    def test_a_folder_without_a_layer_is_an_error(self):
        result = run_on({"widgets/knob.h": ""})
        self.assertEqual(result.returncode, 1)
        self.assertIn("folder 'widgets' has no layer", result.stdout)


if __name__ == "__main__":
    unittest.main()
