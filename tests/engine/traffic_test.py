#!/usr/bin/env python3
"""The whole way from a policy to protected packets, between two hosts (see hosts.py).

Run by uml_run:  traffic_test.py CLIENT SERVER ENGINE [CLASS]
"""

import os
import signal
import subprocess
import sys
import time
import unittest

import hosts
from hosts import bypass, discard, eventually, inside, ping, policies, reaches, run, states, use, Left, Right, Wire

PROGRAMS = sys.argv[1:4]


class Hosts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        hosts.make_hosts()
        cls.right = None
        cls.left = Left(*PROGRAMS)

    @classmethod
    def tearDownClass(cls):
        if cls.right:
            cls.right.stop()

    def setUp(self):
        if not self.right:
            type(self).right = Right()
        self.right.load()
        self.left.configure()

    def tearDown(self):
        self.left.clean_up()
        if self.right:
            self.right.forget()
        inside("left", "ip", "xfrm", "policy", "flush")
        inside("left", "ip", "xfrm", "state", "flush")

    def assert_protected(self, address="10.0.0.2", source=None, mode="transport"):
        """Pings are answered, as ESP on the wire and nothing else, counted by states on both sides."""
        self.assertTrue(reaches("left", address, source), "no ping is answered")
        before = states("left")
        with Wire() as wire:
            self.assertEqual(3, ping("left", address, 3, source))
        self.assertEqual([], wire.clear())
        self.assertGreaterEqual(len(wire.esp()), 6)
        after = states("left")
        self.assertEqual([3, 3], sorted(after[spi] - before[spi] for spi in before)[-2:])
        self.assertEqual(set(after), set(states("right")))
        self.assertEqual({mode}, hosts.modes("left"))


class Protection(Hosts):
    """What each thing that a policy can say does to packets."""

    def test_transport_by_pre_shared_key_then_nothing_is_left(self):
        self.left.write([use()])
        self.left.start()
        pid = self.left.engine_pid()
        rule, = self.left.status()["rules"]
        self.assertEqual(("use", "10.0.0.1/32", "10.0.0.2/32", 10, "trapped"), tuple(
            rule[key] for key in ("action", "source", "destination", "priority", "state")))
        self.assert_protected()
        rule, = self.left.status()["rules"]
        self.assertEqual(("up", "10.0.0.2 [10.0.0.2]", "AES_CBC-256/HMAC_SHA2_256_128"), tuple(
            rule[key] for key in ("state", "peer", "suite")))
        self.assertEqual([rule["packets-in"], rule["packets-out"]], sorted(states("left").values()))
        self.assertGreaterEqual(rule["bytes-in"], 3 * 64)
        self.assertTrue(0 < rule["rekey-seconds"] <= 1620, rule)
        self.left.shut_down()
        self.assertEqual("the engine is not running", self.left.status()["detail"])
        self.assertFalse(os.path.exists(f"/proc/{pid}"))
        self.assertEqual({}, states("left"))
        self.assertEqual(0, policies("left"))
        # The other end has heard of it.
        self.assertTrue(eventually(lambda: not states("right")))
        self.assertEqual([".lock"], os.listdir(self.left.folder + "/run"))
        with Wire() as wire:
            self.assertEqual(3, ping("left", "10.0.0.2"))
        self.assertEqual(6, len(wire.clear()))

    def test_tunnel_between_subnets(self):
        self.left.configure('[[strongswan.gateway]]\ndestination = "10.2.0.0/16"\nremote = "10.0.0.2"\nlocal = "10.0.0.1"')
        self.left.write([use("10.1.0.0/16", "10.2.0.0/16")])
        self.left.start()
        self.assert_protected("10.2.0.1", "10.1.0.1", "tunnel")

    def test_tunnel_between_the_addresses_of_identities(self):
        self.right.load(local="local { auth = psk\n id = 10.0.0.2 }", remote="remote { auth = psk\n id = 10.0.0.1 }")
        self.left.write([use("10.1.0.0/16", "10.2.0.0/16", **{
            "identity-type": "ip", "source-identity": "10.0.0.1", "destination-identity": "10.0.0.2"})])
        self.left.start()
        self.assert_protected("10.2.0.1", "10.1.0.1", "tunnel")

    def test_tunnel_between_ranges(self):
        self.left.configure('[[strongswan.gateway]]\ndestination = "10.2.0.0/16"\nremote = "10.0.0.2"')
        self.left.write([use("10.1.0.1-10.1.0.6", "10.2.0.0-10.2.0.20")])
        self.left.start()
        self.assert_protected("10.2.0.1", "10.1.0.1", "tunnel")
        self.assertIn("remote-ts=[10.1.0.1/32 10.1.0.2/31 10.1.0.4/31 10.1.0.6/32]",
                      self.right.swanctl("--list-sas", "--raw").stdout)

    def test_tunnel_between_subnets_of_ipv6(self):
        self.left.configure('[[strongswan.gateway]]\ndestination = "fd02::/64"\nremote = "fd00::2"')
        self.left.write([use("fd01::/64", "fd02::/64")])
        self.left.start()
        self.assert_protected("fd02::1", "fd01::1", "tunnel")

    def test_ipv6(self):
        self.left.write([use("fd00::1", "fd00::2"), bypass("fd00::3-fd00::4", 20, "fd00::1"),
                         discard("fd00::/64", 30, "fd00::1")])
        self.left.start()
        self.assert_protected("fd00::2")
        for address in ("fd00::3", "fd00::4"):
            self.assertEqual(3, ping("left", address))
        with Wire() as wire:
            self.assertEqual(0, ping("left", "fd00::5"))
        self.assertEqual([], wire.clear() + wire.esp())

    def test_ike_version_1(self):
        self.right.load(version=1)
        self.left.configure("ike-version = 1")
        self.left.write([use()])
        self.left.start()
        self.assert_protected()
        self.assertEqual("1", self.right.association()[0]["version"])

    def test_aes_gcm_in_both_phases(self):
        self.left.write([use()], ("AES-GCM", 256, "SHA384", 20, 3600), ("AES-GCM", 128, "AES-GCM", 19, 1800))
        self.left.start()
        self.assert_protected()

    def test_bypass_discard_and_priorities(self):
        self.left.write([
            use(),
            bypass("10.0.0.3", 5),
            discard("10.0.0.4", 5),
            # Of two rules for the same traffic the one with the lower number counts, 0 included.
            bypass("10.0.0.5", 20), discard("10.0.0.5", 0),
            bypass("10.0.0.7-10.0.0.8", 98),
            discard("10.0.0.0/24", 99),
        ])
        self.left.start()
        self.assert_protected()
        self.assertEqual([("discard", 0, "in force"), ("bypass", 5, "in force"), ("discard", 5, "in force"),
                          ("use", 10, "up"), ("bypass", 20, "in force"), ("bypass", 98, "in force"),
                          ("discard", 99, "in force")],
                         [(rule["action"], rule["priority"], rule["state"]) for rule in self.left.status()["rules"]])
        passing, dropped = ("10.0.0.3", "10.0.0.7", "10.0.0.8"), ("10.0.0.4", "10.0.0.5", "10.0.0.6", "10.0.0.9")
        with Wire() as wire:
            for address in passing:
                self.assertEqual(3, ping("left", address))
            for address in dropped:
                self.assertEqual(0, ping("left", address, seconds=0.5))
        self.assertEqual(6 * len(passing), len(wire.clear()))
        self.assertEqual([], wire.esp())
        for address in dropped:
            self.assertEqual([], [line for line in wire.lines if address in line and "ARP" not in line])

    def test_a_namespace_that_the_policy_names(self):
        # Client and server are outside.
        outside = Left(*PROGRAMS)
        outside.host = []
        outside.configure()
        outside.write([use()], namespace="left")
        outside.start()
        self.assert_protected()
        outside.write([use()], namespace="")
        pid = outside.engine_pid()
        self.assertEqual("success", outside.ask("shutdown")[0])
        self.assertFalse(os.path.exists(f"/proc/{pid}"))
        self.assertEqual(0, policies("left"))


class Negotiation(Hosts):
    """What the ends agree upon and when, and what is said if they do not."""

    def test_of_several_proposals_and_transforms_the_one_that_both_ends_have(self):
        self.right.load(suites="aes128-sha384-ecp384", esp="3des-sha512")
        self.left.write(
            [use()],
            [[("AES", 256, "SHA256", 14, 3600), ("AES", 192, "SHA1", 19, 3600)],
             [("3DES", None, "SHA1", 24, 3600), ("AES", 128, "SHA384", 20, 3600)]],
            [[("AES", 256, "SHA256", None, 1800)], [("AES", 128, "SHA1", 14, 1800), ("3DES", None, "SHA512", None, 1200)]])
        self.left.start()
        self.assert_protected()
        ike, child = self.right.association()
        self.assertEqual(("AES_CBC", "128", "HMAC_SHA2_384_192", "ECP_384"), tuple(
            ike[name] for name in ("encr-alg", "encr-keysize", "integ-alg", "dh-group")))
        self.assertEqual(("3DES_CBC", "HMAC_SHA2_512_256"), tuple(child[name] for name in ("encr-alg", "integ-alg")))
        # The shortest lifetime, less a tenth and some chance.
        rule, = self.left.status()["rules"]
        self.assertTrue(900 < rule["rekey-seconds"] <= 1080, rule)

    def test_keys_are_renewed_before_their_lifetimes_are_over(self):
        self.left.write([use()], ("AES", 128, "SHA256", 19, 14), ("AES", 128, "SHA256", None, 10))
        self.left.start()
        self.assert_protected()
        ike, first = self.right.association()[0]["initiator-spi"], set(states("left"))
        with Wire() as wire:
            flow = subprocess.Popen(["ip", "netns", "exec", "left", "ping", "-n", "-q", "-c", "80", "-i", "0.2", "-W", "1",
                                     "10.0.0.2"], stdout=subprocess.PIPE, text=True)
            self.assertTrue(eventually(lambda: not first & set(states("left"))), "the keys of phase 2 stay")
            self.assertTrue(eventually(lambda: ike != self.right.association()[0].get("initiator-spi")), "those of phase 1 stay")
            self.assertIn(" 0% packet loss", flow.communicate()[0])
        self.assertEqual([], wire.clear())
        self.assertGreaterEqual(len(wire.esp()), 160)

    def rule_states(self):
        return [(rule["destination"], rule["state"], rule["reason"]) for rule in self.left.status()["rules"]]

    def test_status_says_why_a_rule_is_down(self):
        # As ever, but for an engine that does not wait minutes for an answer.
        impatient = hosts.WORK + "/impatient"
        with open(impatient, "w") as file:
            file.write("#!/bin/sh\nsed -i 's/^charon-systemd {/&\\nretransmit_tries = 1\\nretransmit_timeout = 1.5/' "
                       '"$STRONGSWAN_CONF"\nexec /usr/sbin/charon-systemd\n')
        os.chmod(impatient, 0o700)
        self.left.configure(option="--charon " + impatient)
        rules = [use(), use(destination="10.0.0.3", priority=11), use(destination="10.0.0.77", priority=12)]
        self.left.write(rules)
        self.left.start()
        self.assertEqual({("trapped", "")}, {state[1:] for state in self.rule_states()})
        self.assert_protected()
        for rule in rules[1:]:
            self.assertEqual(0, ping("left", rule["destination"], 1))
        refused = ("10.0.0.3/32", "down", "the last negotiation failed: received NO_PROPOSAL_CHOSEN notify error")
        self.assertEqual([("10.0.0.2/32", "up", ""), refused,
                          ("10.0.0.77/32", "down", "10.0.0.77 has not answered yet")], self.rule_states())
        silent = ("10.0.0.77/32", "down", "the last negotiation failed: establishing IKE_SA failed, peer not responding")
        self.assertTrue(eventually(lambda: silent in self.rule_states()), self.rule_states())
        self.assertEqual([("10.0.0.2/32", "up", ""), refused, silent], self.rule_states())
        # With other settings nothing has failed yet.
        self.left.write(rules, authentication='authentication = "PSK"\npsk = "another key"\n')
        self.left.restart()
        self.assertEqual({("trapped", "")}, {state[1:] for state in self.rule_states()})
        self.assertEqual(0, ping("left", "10.0.0.2", 1))
        self.assertEqual(("10.0.0.2/32", "down", "the last negotiation failed: received AUTHENTICATION_FAILED notify error"),
                         self.rule_states()[0])
        self.left.write(rules)
        self.left.restart()
        self.assert_protected()
        self.assertEqual(("10.0.0.2/32", "up", ""), self.rule_states()[0])


class Authentication(Hosts):
    """By what the ends know each other."""

    def make_certificates(self):
        """root -> internal -> left, right, each with an address and an email address."""
        folder = hosts.WORK + "/pki"
        if os.path.exists(folder):
            return folder
        os.mkdir(folder)

        def request(name, subject):
            run("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-subj", subject, "-keyout",
                f"{folder}/{name}.key", "-out", f"{folder}/{name}.csr")

        def sign(name, issuer, extensions):
            with open(f"{folder}/{name}.ext", "w") as file:
                file.write(extensions)
            own = ["-signkey", f"{folder}/{name}.key"] if issuer == name else [
                "-CA", f"{folder}/{issuer}.pem", "-CAkey", f"{folder}/{issuer}.key", "-CAcreateserial"]
            run("openssl", "x509", "-req", "-in", f"{folder}/{name}.csr", "-days", "2", "-out", f"{folder}/{name}.pem",
                "-extfile", f"{folder}/{name}.ext", *own)

        authority = "basicConstraints=critical,CA:TRUE\nkeyUsage=keyCertSign,cRLSign\nsubjectKeyIdentifier=hash\n"
        request("root", "/O=Example/CN=root")
        sign("root", "root", authority)
        request("internal", "/O=Example/CN=internal")
        sign("internal", "root", authority)
        for name, address in (("left", "10.0.0.1"), ("right", "10.0.0.2")):
            request(name, f"/O=Example/CN={name}")
            sign(name, "internal", f"subjectAltName=IP:{address},email:{name}@example.org\n")
        return folder

    def test_certificates_with_a_chain_and_every_kind_of_identity(self):
        folder = self.make_certificates()
        run("cp", f"{folder}/right.key", self.right.folder + "/private/")
        authorities = f"root {{ cacert = {folder}/root.pem }}\ninternal {{ cacert = {folder}/internal.pem }}"
        certificates = "".join(
            f'[[certificate]]\nkind = "{kind}"\ncertificate = "{folder}/{name}.pem"\n' + key
            for kind, name, key in (("end-entity", "left", f'private-key = "{folder}/left.key"\n'),
                                    ("internal-ca", "internal", ""), ("root-ca", "root", "")))
        kinds = {
            "none": ("", ""),
            "ip": ("10.0.0.1", "10.0.0.2"),
            "dn": ("O=Example, CN=left", "O=Example, CN=right"),
            "email": ("left@example.org", "right@example.org"),
        }
        begin = self.left.start
        for kind, (own, other) in kinds.items():
            with self.subTest(identity=kind):
                identity = {"none": "O=Example, CN=right"}.get(kind, other)
                self.right.load(
                    local=f'local {{ auth = pubkey\n certs = {folder}/right.pem\n id = "{identity}" }}',
                    remote="remote { auth = pubkey\n" + (f' id = "{own}"' if own else "") + " }", authorities=authorities)
                named = {} if kind == "none" else {
                    "identity-type": kind, "source-identity": own, "destination-identity": other}
                self.left.write([use(**named)], authentication='authentication = "RSA_SIG"\n', certificates=certificates)
                begin()
                begin = self.left.restart
                self.assert_protected()
                seen = self.right.swanctl("--list-sas", "--raw").stdout
                self.assertIn(f"remote-id={own or 'O=Example, CN=left'} ", seen)
        # Who is not named is refused, whoever has signed for him.
        self.left.write([use(**{"identity-type": "email", "source-identity": "left@example.org",
                                "destination-identity": "somebody@example.org"})],
                        authentication='authentication = "RSA_SIG"\n', certificates=certificates)
        self.left.restart()
        self.assertEqual(0, ping("left", "10.0.0.2"))
        self.assertEqual({}, states("left"))

    def test_identities_with_a_pre_shared_key(self):
        begin = self.left.start
        for kind, own, other in (("ip", "10.0.0.1", "10.0.0.2"), ("dn", "C=CH, CN=left", "C=CH, CN=right"),
                                 ("email", "left@example.org", "right@example.org")):
            with self.subTest(identity=kind):
                self.right.load(local=f'local {{ auth = psk\n id = "{other}" }}', remote=f'remote {{ auth = psk\n id = "{own}" }}')
                self.left.write([use(**{"identity-type": kind, "source-identity": own, "destination-identity": other})])
                begin()
                begin = self.left.restart
                self.assert_protected()


class Changes(Hosts):
    """What becomes of tunnels when something changes or fails."""

    def test_a_changed_rule_while_traffic_flows(self):
        rules = [use(), discard("10.0.0.3", 20)]
        self.left.write(rules)
        self.left.start()
        self.assert_protected()
        first = states("left")
        flow = subprocess.Popen(["ip", "netns", "exec", "left", "ping", "-n", "-q", "-c", "100", "-i", "0.05", "-W", "1",
                                 "10.0.0.2"], stdout=subprocess.PIPE, text=True)
        self.left.write([rules[0], bypass("10.0.0.3", 20)])
        self.left.restart()
        # What did not change was not touched.
        self.assertEqual(set(first), set(states("left")))
        self.assertEqual(3, ping("left", "10.0.0.3"))
        self.assertIn(" 0% packet loss", flow.communicate()[0])
        self.assert_protected()

        # What changed has a new tunnel, and the old one is gone.
        self.left.write(rules, phase2=("AES-GCM", 128, "AES-GCM", None, 1800))
        self.left.restart()
        self.assert_protected()
        self.assertEqual(set(), set(first) & set(states("left")))
        self.assertEqual(2, len(states("left")))
        self.assertEqual(0, ping("left", "10.0.0.3"))

        # So has what is proven by another key: with the old one on the other side there is none.
        second = states("left")
        self.left.write(rules, phase2=("AES-GCM", 128, "AES-GCM", None, 1800),
                        authentication='authentication = "PSK"\npsk = "another key"\n')
        self.left.restart()
        self.assertEqual(0, ping("left", "10.0.0.2"))
        self.assertEqual(set(), set(second) & set(states("left")))

        self.left.write([discard("10.0.0.3", 20)])
        self.left.restart()
        with Wire() as wire:
            self.assertEqual(3, ping("left", "10.0.0.2"))
        self.assertEqual(6, len(wire.clear()))

    def test_a_start_over_the_leftovers_of_a_killed_engine(self):
        self.left.write([use()])
        self.left.start()
        self.assert_protected()
        os.kill(self.left.engine_pid(), signal.SIGKILL)
        self.right.forget()
        self.assertTrue(eventually(lambda: "charon" not in inside("left", "ss", "-lxp").stdout))
        self.assertGreater(policies("left"), 0)
        # Nothing goes in clear meanwhile.
        with Wire() as wire:
            self.assertEqual(0, ping("left", "10.0.0.2"))
        self.assertEqual([], wire.clear())
        self.left.start()
        self.assert_protected()
        self.assertEqual(2, len(states("left")))

    def write_policy_with_bad_certificates(self):
        """One that the server accepts and the engine does not."""
        folder = hosts.WORK + "/bad"
        os.makedirs(folder, exist_ok=True)
        for name in ("a.pem", "root.pem", "a.key"):
            with open(f"{folder}/{name}", "w") as file:
                file.write("no certificate\n")
        self.left.write([use()], authentication='authentication = "RSA_SIG"\n', certificates=(
            f'[[certificate]]\nkind = "end-entity"\ncertificate = "{folder}/a.pem"\nprivate-key = "{folder}/a.key"\n'
            f'[[certificate]]\nkind = "root-ca"\ncertificate = "{folder}/root.pem"\n'))

    def test_a_start_that_fails_leaves_nothing(self):
        module = hosts.kernel_module("ah4")
        self.left.configure(modules=f'[[modules.module]]\npath = "{module}"\n')
        self.write_policy_with_bad_certificates()
        status, detail = self.left.ask("start", self.left.policy)
        self.assertEqual("failure", status, detail)
        self.assertRegex(detail, "Can't start service: swanctl: loading .*key-1' failed: parsing ANY private key failed")
        self.assertIsNone(self.left.engine_pid())
        self.assertEqual([".lock"], os.listdir(self.left.folder + "/run"))
        self.assertNotIn("ah4", run("lsmod").stdout)
        self.assertEqual(0, policies("left"))
        # The module is there while the engine runs.
        self.left.write([use()])
        self.left.start()
        self.assertIn("ah4", run("lsmod").stdout)
        self.left.shut_down()
        self.assertNotIn("ah4", run("lsmod").stdout)

    def test_what_is_refused_by_name_is_refused_before_anything_is_touched(self):
        self.right.load(version=1)
        self.left.configure("ike-version = 1")
        gcm = ("AES-GCM", 256, "SHA256", 14, 3600)
        cases = [
            (dict(phase1=gcm), "phase 1, proposal 1, transform 1: enc-algo: "
                               "AES-GCM is not possible in phase 1 of IKE version 1, only AES, 3DES"),
            (dict(phase1=("3DES", None, "SHA256", 14, 3600), fips=True),
             "phase 1, proposal 1, transform 1: enc-algo: 3DES is not possible in FIPS mode, only AES, AES-GCM"),
            (dict(phase2=("3DES", None, "SHA256", None, 1800), fips=True),
             "phase 2, proposal 1, transform 1: enc-algo: 3DES is not possible in FIPS mode, only AES, AES-GCM"),
            (dict(phase1=("AES", 256, "SHA256", 24, 3600), fips=True),
             "phase 1, proposal 1, transform 1: group-dsc: 24 is not possible in FIPS mode, only 14, 19, 20"),
        ]
        for policy, words in cases:
            self.left.write([use()], **policy)
            self.assertEqual(("failure", words), self.left.ask("start", self.left.policy))
            self.assertEqual([".lock"], os.listdir(self.left.folder + "/run"))
        self.left.write([use()], fips=True)
        self.left.start()
        self.assert_protected()
        before, files = set(states("left")), self.everything_in_the_folder()
        for policy, words in cases:
            self.left.write([use()], **policy)
            self.assertEqual(("failure", words), self.left.ask("restart", self.left.policy))
            self.assertEqual(files, self.everything_in_the_folder())
        self.assertEqual(before, set(states("left")))
        self.assert_protected()

    def everything_in_the_folder(self):
        """The server's and the engine's files and when they were last changed."""
        found = {}
        for folder, _, names in os.walk(self.left.folder + "/run"):
            for name in names:
                status = os.lstat(f"{folder}/{name}")
                found[f"{folder}/{name}"] = (status.st_ino, status.st_size, status.st_mtime_ns)
        return found

    def test_refused_new_settings_leave_the_tunnel_up(self):
        self.left.write([use()])
        self.left.start()
        self.assert_protected()
        before = states("left")
        with open(self.left.settings) as file:
            content = file.read()
        self.write_policy_with_bad_certificates()
        begin = time.monotonic()
        status, detail = self.left.ask("restart", self.left.policy)
        self.assertEqual("failure", status, detail)
        self.assertRegex(detail, "the engine refused the new settings: "
                                 "swanctl: loading .*key-1' failed: parsing ANY private key failed")
        # Not only when the time is over that an engine has to get ready.
        self.assertLess(time.monotonic() - begin, 20)
        with open(self.left.settings) as file:
            self.assertEqual(content, file.read())
        self.assert_protected()
        self.assertEqual(set(before), set(states("left")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
