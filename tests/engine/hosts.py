"""Two hosts for tests of the engine: network namespaces in one kernel, joined by a wire.

"left" is configured by the project: client, server, library, engine. "right" runs a strongSwan with a swanctl.conf that
was written by hand and of which the project knows nothing.
"""

import json
import os
import re
import shutil
import signal
import subprocess
import time

WORK = "/run/hosts"
READY_FILE = "/tmp/quicksec.ready"
SECRET = "correct horse battery staple"

SUITES = "aes128-aes192-aes256-3des-sha1-sha256-sha384-sha512-modp2048-modp2048s256-ecp256-ecp384"
GCM_SUITES = (
    "aes128gcm16-aes192gcm16-aes256gcm16-prfsha1-prfsha256-prfsha384-prfsha512-modp2048-modp2048s256-ecp256-ecp384"
)
ESP_SUITES = (
    SUITES + ", aes128-aes192-aes256-3des-sha1-sha256-sha384-sha512, "
    "aes128gcm16-aes192gcm16-aes256gcm16-modp2048-modp2048s256-ecp256-ecp384, aes128gcm16-aes192gcm16-aes256gcm16"
)


def run(*words, check=True, timeout=120):
    result = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=timeout)
    if check and result.returncode != 0:
        raise AssertionError(f"{' '.join(words)}: {result.returncode}: {result.stdout}{result.stderr}")
    return result


def inside(host, *words, **options):
    return run("ip", "netns", "exec", host, *words, **options)


def kernel_module(name):
    """Where a module of the kernel lies; User-mode Linux has its own in a place of their own."""
    uml = ["-b", "/run/modules"] if os.path.isdir("/run/modules") else []
    return run("modinfo", *uml, "-n", name).stdout.strip()


def eventually(condition, seconds=15):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.1)
    return True


def make_hosts():
    """left 10.0.0.1 === right 10.0.0.2 to 10.0.0.9; the same in fd00::; 10.1.0.1 and fd01::1 behind left, 10.2.0.1 and
    fd02::1 behind right."""
    os.makedirs(WORK, exist_ok=True)
    for host in ("left", "right"):
        run("ip", "netns", "add", host)
        run("ip", "-n", host, "link", "set", "lo", "up")
    # What passes between them is seen where neither can decrypt it.
    run("ip", "netns", "add", "between")
    run("ip", "-n", "between", "link", "add", "wire", "type", "bridge")
    for host in ("left", "right"):
        run("ip", "link", "add", "wire", "netns", host, "type", "veth", "peer", "name", host, "netns", "between")
        run("ip", "-n", "between", "link", "set", host, "master", "wire", "up")
    run("ip", "-n", "between", "link", "set", "wire", "up")
    for host, addresses in (("left", ["10.0.0.1", "fd00::1"]), ("right", [f"{net}{n}" for net in ("10.0.0.", "fd00::") for n in range(2, 10)])):
        for address in addresses:
            options = ["nodad"] if ":" in address else []
            run("ip", "-n", host, "addr", "add", address + ("/64" if ":" in address else "/24"), "dev", "wire", *options)
        run("ip", "-n", host, "link", "set", "wire", "up")
    for host, own, other, gateway in (
            ("left", "10.1.0.1", "10.2.0.0/16", "10.0.0.2"), ("left", "fd01::1", "fd02::/64", "fd00::2"),
            ("right", "10.2.0.1", "10.1.0.0/16", "10.0.0.1"), ("right", "fd02::1", "fd01::/64", "fd00::1")):
        run("ip", "-n", host, "addr", "add", own, "dev", "lo")
        run("ip", "-n", host, "route", "add", other, "via", gateway, "src", own)
    ping("left", "10.0.0.2")


def ping(host, address, count=3, source=None, seconds=1):
    """How many of the pings were answered; after the last one an answer is waited for that long."""
    words = ["ping", "-n", "-q", "-c", str(count), "-i", "0.05", "-W", str(seconds)] + (["-I", source] if source else [])
    found = re.search(r"(\d+) received", inside(host, *words, address, check=False).stdout)
    return int(found.group(1)) if found else 0


def reaches(host, address, source=None):
    """Whether a ping is answered in the end: those that begin a negotiation are not."""
    return eventually(lambda: ping(host, address, 1, source, 0.2) == 1)


def states(host):
    """The kernel's IPsec states: SPI -> packets."""
    text = inside(host, "ip", "-s", "xfrm", "state").stdout
    found = {}
    for block in re.split(r"(?m)^src ", text)[1:]:
        spi = re.search(r"spi 0x([0-9a-f]+)", block).group(1)
        current = re.search(r"lifetime current:\s*(\d+)\(bytes\), (\d+)\(packets\)", block)
        if int(spi, 16):
            found[spi] = int(current.group(2))
    return found


def modes(host):
    return set(re.findall(r"proto esp .* mode (\w+)", inside(host, "ip", "xfrm", "state").stdout))


def policies(host):
    """How many policies for traffic the kernel has (a socket's own do not count)."""
    return len(re.findall(r"(?m)^\s+dir (?:in|out|fwd)", inside(host, "ip", "xfrm", "policy").stdout))


class Wire:
    """What is seen on the wire while this is open."""

    def __enter__(self):
        with open(WORK + "/capture", "w") as capture:
            self.process = subprocess.Popen(
                ["ip", "netns", "exec", "between", "tcpdump", "-n", "-l", "-i", "left", "-Z", "root", "--immediate-mode"],
                stdout=capture, stderr=subprocess.PIPE, text=True)
        while "listening" not in (self.process.stderr.readline() or "listening"):
            pass
        return self

    def __exit__(self, *_):
        time.sleep(0.3)
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        self.process.stderr.close()
        with open(WORK + "/capture") as capture:
            self.lines = capture.read().splitlines()

    def esp(self):
        return [line for line in self.lines if "ESP(" in line]

    def clear(self):
        """Pings that could be read."""
        return [line for line in self.lines if "echo re" in line]


class Right:
    """The other host's engine."""

    CONFIGURATION = """
charon-systemd {{
    load = random nonce openssl aes des sha1 sha2 hmac kdf gmp gcm drbg pem pkcs1 pkcs8 x509 pubkey constraints revocation kernel-netlink socket-default vici
    install_routes = no
    filelog {{ log {{ path = {folder}/log
 default = 1 }} }}
    plugins {{ vici {{ socket = unix://{folder}/vici }} }}
}}
swanctl {{
    load = random openssl pem pkcs1 pkcs8 x509 pubkey
    socket = unix://{folder}/vici
}}
"""
    # The common case: any suite, by pre-shared key, for whoever is left.
    CONNECTION = """
connections {{
    left {{
        version = {version}
        local_addrs = 10.0.0.2, fd00::2
        remote_addrs = 10.0.0.1, fd00::1
        proposals = {suites}
        {local}
        {remote}
        children {{
            hosts {{
                local_ts = 10.0.0.2
                remote_ts = 10.0.0.1
                mode = transport
                esp_proposals = {esp}
            }}
            hosts6 {{
                local_ts = fd00::2
                remote_ts = fd00::1
                mode = transport
                esp_proposals = {esp}
            }}
            nets {{
                local_ts = 10.2.0.0/16
                remote_ts = 10.1.0.0/16
                mode = tunnel
                esp_proposals = {esp}
            }}
            nets6 {{
                local_ts = fd02::/64
                remote_ts = fd01::/64
                mode = tunnel
                esp_proposals = {esp}
            }}
        }}
    }}
}}
secrets {{
    ike-left {{
        secret = "{secret}"
    }}
}}
authorities {{
{authorities}
}}
"""

    def __init__(self, name="right"):
        self.folder = WORK + "/" + name
        for sub in ("x509", "x509ca", "x509ocsp", "x509aa", "x509ac", "x509crl", "pubkey", "rsa", "ecdsa", "bliss",
                    "pkcs8", "pkcs12", "private"):
            os.makedirs(f"{self.folder}/{sub}", exist_ok=True)
        with open(self.folder + "/strongswan.conf", "w") as file:
            file.write(self.CONFIGURATION.format(folder=self.folder))
        self.environment = dict(os.environ, STRONGSWAN_CONF=self.folder + "/strongswan.conf", SWANCTL_DIR=self.folder)
        self.process = subprocess.Popen(["ip", "netns", "exec", "right", "charon-systemd"], env=self.environment,
                                        stderr=subprocess.DEVNULL)
        assert eventually(lambda: self.swanctl("--stats", check=False).returncode == 0), "right does not run"

    def swanctl(self, *words, check=True):
        result = subprocess.run(["swanctl", *words], env=self.environment, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, timeout=30)
        assert not check or result.returncode == 0, result.stdout
        return result

    def load(self, version=2, local="local { auth = psk }", remote="remote { auth = psk }", authorities="", suites=None,
             esp=ESP_SUITES):
        suites = suites or (SUITES if version == 1 else SUITES + ", " + GCM_SUITES)
        with open(self.folder + "/swanctl.conf", "w") as file:
            file.write(self.CONNECTION.format(version=version, suites=suites, esp=esp, secret=SECRET, local=local,
                                              remote=remote, authorities=authorities))
        self.swanctl("--load-all", "--clear")

    def association(self):
        """The one IKE association and its child as right describes them, by name of attribute."""
        text = self.swanctl("--list-sas", "--raw").stdout
        parts = text.split("child-sas", 1)
        return [dict(re.findall(r"([\w-]+)=([^\s{}]+)", part)) for part in parts] if len(parts) == 2 else [{}, {}]

    def forget(self):
        self.swanctl("--terminate", "--ike", "left", "--force", "--timeout", "1", check=False)

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Left:
    """The host that the project configures."""

    kind = "strongswan"
    host = ["ip", "netns", "exec", "left"]

    def __init__(self, client, server, engine):
        self.client, self.server, self.engine = client, server, engine
        self.folder = WORK + "/left"
        self.settings = self.folder + "/run/engine.conf"
        self.pid_file = self.folder + "/run/engine.pid"
        self.policy = self.folder + "/policy.toml"
        os.makedirs(self.folder + "/run", mode=0o700, exist_ok=True)

    def configure(self, strongswan="", modules="", option="", retry=1, interval=0):
        with open(self.folder + "/server.toml", "w") as file:
            file.write(f'engine = "{self.kind}"\nsetting-directory = "{self.folder}/run"\n[service]\n'
                       f'command = "{self.engine}"\noption = "{option}"\npid-file = "{self.pid_file}"\nstop-signal = "TERM"\n'
                       f'reconfigure-signal = "HUP"\n[modules]\nretry = {retry}\ninterval-us = {interval}\n{modules}\n'
                       + (f'[strongswan]\n{strongswan}\n' if strongswan else ""))

    def write(self, rules, phase1=None, phase2=None, authentication=None, certificates="", namespace="", fips=False):
        """The policy; a phase as (encryption, key length, hash, group, lifetime) or as a list of proposals, each a list
        of such transforms."""
        def proposals(phase, values, more):
            text = ""
            for number, transforms in enumerate(values if isinstance(values, list) else [[values]], 1):
                text += f"[[{phase}.proposal]]\nid = {number}\n"
                for position, (encryption, length, hash_, group, lifetime) in enumerate(transforms, 1):
                    text += f'[[{phase}.proposal.transform]]\nid = {position}\nencryption = "{encryption}"\n'
                    text += f"key-length = {length}\n" if length else ""
                    text += f'hash = "{hash_}"\nlifetime = {lifetime}\n{more}'
                    text += f"group = {group}\n" if group else ""
            return text

        authentication = authentication or f'authentication = "PSK"\npsk = "{SECRET}"\n'
        with open(self.policy, "w") as file:
            file.write(f'[engine]\nsetting-file = "{self.settings}"\nfips = {str(fips).lower()}\n'
                       f'namespace = "{namespace}"\n')
            file.write(proposals("phase1", phase1 or ("AES", 256, "SHA256", 14, 3600), authentication))
            file.write(proposals("phase2", phase2 or ("AES", 256, "SHA256", None, 1800), ""))
            for rule in rules:
                file.write("[[rule]]\n" + "".join(f'{key} = {json.dumps(value)}\n' for key, value in rule.items()))
            file.write(certificates)

    def ask(self, *words):
        """The client's answer: status and detail."""
        answer = self.answer(*words)
        return answer.get("status"), answer.get("detail") or answer.get("problems")

    def status(self):
        return self.answer("status")

    def answer(self, *words):
        environment = dict(os.environ, IPSECCFG_SERVER_CONFIG=self.folder + "/server.toml")
        result = subprocess.run([*self.host, self.client, "--server", self.server, "--json", *words], env=environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120)
        return json.loads(result.stdout or json.dumps({"status": "none", "detail": result.stderr}))

    def command(self, word):
        status, detail = self.ask(word, self.policy)
        assert status == "success", f"{word}: {status}: {detail}"

    def start(self):
        self.command("start")

    def restart(self):
        self.command("restart")

    def shut_down(self):
        status, detail = self.ask("shutdown")
        assert status == "success", f"shutdown: {status}: {detail}"

    def engine_pid(self):
        try:
            with open(self.pid_file) as file:
                return int(file.read())
        except FileNotFoundError:
            return None

    def clean_up(self):
        if self.engine_pid():
            self.ask("shutdown")
        shutil.rmtree(self.folder + "/run", ignore_errors=True)
        os.makedirs(self.folder + "/run", mode=0o700)


def use(source="10.0.0.1", destination="10.0.0.2", priority=10, **more):
    return {"action": "use", "source": source, "destination": destination, "priority": priority, **more}


def bypass(destination, priority=10, source="10.0.0.1"):
    return {"action": "bypass", "source": source, "destination": destination, "priority": priority}


def discard(destination, priority=10, source="10.0.0.1"):
    return {"action": "discard", "source": source, "destination": destination, "priority": priority}
