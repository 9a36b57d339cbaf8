"""Holds structured messages against Python's own XML-RPC, in both directions.

Usage: parser_interop.py PARSER_ECHO [unittest's options]
"""

import datetime
import subprocess
import sys
import unittest
import xmlrpc.client

ECHO = None

HOSTILE_STRINGS = [
    "", " ", "\t", "\n", " two  words ", "a\nb\n", "<tag attribute='x'>", "&amp;", "&", "]]>", "<![CDATA[x]]>", "<!-- -->",
    "\"quoted\"", "'", "$(reboot); `x` | y", "\\", "%s%n", "../../etc/passwd", "\x7f", "\x80", "\u00e4\u00f6\u00fc",
    "\u20ac", "\ud7ff", "\ue000", "\ufffd", "\ufeff", "\U0001f512", "\U0010ffff", "x" * 100000, "&<>" * 10000,
]


def echo(text, *options):
    """What parser_echo understood, as the text that it wrote, or None if it refused."""
    run = subprocess.run([ECHO, *options], input=text.encode("utf-8", "surrogatepass"), stdout=subprocess.PIPE, check=False)
    if run.returncode == 1:
        return None
    assert run.returncode == 0, run.returncode
    return run.stdout.decode()


def understood(structures, *options):
    """The structures after a way from Python to parser_echo and back."""
    text = echo(xmlrpc.client.dumps((structures,), methodresponse=True, allow_none=True), *options)
    if text is None:
        return None
    (result,), method = xmlrpc.client.loads(text, use_builtin_types=True)
    assert method is None
    return result


class Interoperation(unittest.TestCase):
    def both_forms(self, structures, expected=None):
        for options in ([], ["--pretty"]):
            with self.subTest(options=options):
                self.assertEqual(structures if expected is None else expected, understood(structures, *options))

    def test_an_empty_array_comes_back(self):
        self.both_forms([])

    def test_structures_come_back_in_order(self):
        self.both_forms([{"table-id": 0, "scenario": 1}, {}, {"table-id": 1}])

    def test_every_type_comes_back_as_itself(self):
        moment = datetime.datetime(2020, 2, 29, 23, 59, 58)
        self.both_forms([{
            "string": "text", "zero": 0, "largest": 2**31 - 1, "smallest": -2**31, "true": True, "false": False,
            "double": -1.25, "moment": moment, "bytes": bytes(range(256)), "nothing": None,
        }])

    def test_arrays_of_every_type_come_back(self):
        self.both_forms([{"strings": ["a", "", "c"], "numbers": [3, 1, 2], "truths": [True, False], "doubles": [0.5],
                          "nothings": [None, None], "bytes": [b"\0\xff"], "empty": []}])

    def test_hostile_strings_come_back_as_they_went(self):
        self.both_forms([{"value": string, "values": [string, string]} for string in HOSTILE_STRINGS])

    def test_hostile_names_come_back_as_they_went(self):
        self.both_forms([{string: "x" for string in HOSTILE_STRINGS}])

    def test_carriage_returns_written_by_the_parser_are_read_by_python(self):
        # Python writes them bare, and so as line feeds.
        text = xmlrpc.client.dumps(([{"m": "a|b"}],), methodresponse=True).replace("|", "&#13;\n")
        ((structure,),), _ = xmlrpc.client.loads(echo(text))
        self.assertEqual({"m": "a\r\nb"}, structure)

    def test_a_call_comes_back_with_its_name(self):
        for name in ("system.listMethods", "/usr/sbin/server", "two words", "\u00e4"):
            text = echo(xmlrpc.client.dumps(([{"m": 1}],), methodname=name))
            self.assertEqual((([{"m": 1}],), name), xmlrpc.client.loads(text))

    def assert_fault_comes_back(self, code, string, expected_code=None):
        with self.assertRaises(xmlrpc.client.Fault) as caught:
            xmlrpc.client.loads(echo(xmlrpc.client.dumps(xmlrpc.client.Fault(code, string))))
        self.assertEqual((expected_code or code, string), (caught.exception.faultCode, caught.exception.faultString))

    def test_faults_come_back_with_their_code(self):
        for code in (1, 7, 42, -32601, 2**31 - 1):
            self.assert_fault_comes_back(code, "text")

    def test_faults_come_back_with_their_text(self):
        for string in HOSTILE_STRINGS:
            self.assert_fault_comes_back(4, string)

    def test_a_fault_of_code_0_stays_a_fault(self):
        self.assert_fault_comes_back(0, "text", expected_code=7)

    def test_a_megabyte_of_structures_comes_back(self):
        self.both_forms([{"table-id": 2, "number": number, "text": "<%d>" % number} for number in range(8000)])

    def test_messages_in_a_row_come_back_in_a_row(self):
        texts = [xmlrpc.client.dumps(([{"m": number}],), methodresponse=True) for number in range(3)]
        lines = echo("".join(texts)).splitlines()
        self.assertEqual([[{"m": 0}], [{"m": 1}], [{"m": 2}]], [xmlrpc.client.loads(line)[0][0] for line in lines])

    def test_what_is_no_array_of_flat_structures_is_refused(self):
        for value in ("OK", 0, None, True, {"m": 1}, [1], ["x"], [[]], [[{"m": 1}]], [{"m": {"n": 1}}],
                      [{"m": [{"n": 1}]}], [{"m": [[1]]}]):
            text = xmlrpc.client.dumps((value,), methodresponse=True, allow_none=True)
            self.assertIsNone(echo(text), text)
        self.assertIsNone(echo(xmlrpc.client.dumps(([], []), methodname="m")))
        self.assertIsNone(echo(xmlrpc.client.dumps((), methodname="m")))

    def test_strings_that_xml_cannot_carry_are_refused(self):
        for character in ("\0", "\x01", "\x0b", "\x1f", "\ufffe", "\uffff", "\ud800", "\udfff"):
            self.assertIsNone(understood([{"m": character}]), repr(character))


if __name__ == "__main__":
    ECHO = sys.argv.pop(1)
    unittest.main()
