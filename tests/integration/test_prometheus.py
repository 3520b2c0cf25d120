# SPDX-License-Identifier: Apache-2.0
"""examples/prometheus: snmp.yml is what the generator makes of generator.yml, Debian's
prometheus-snmp-exporter reports every router through it, and the alert rules hold on those
metrics."""
import re
import subprocess
import urllib.request
from pathlib import Path

from harness import SOURCE_DIR, free_port

EXAMPLES = SOURCE_DIR / "examples" / "prometheus"
ALERTS_TEST = Path(__file__).with_name("prometheus-alerts-test.yml")
SAMPLE = re.compile(r'^(\w+)(?:\{(.*)\})? (\S+)$')
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')


def run(*argv, **kwargs):
    done = subprocess.run(argv, capture_output=True, text=True, timeout=60, **kwargs)
    assert done.returncode == 0, f"{' '.join(argv)}:\n{done.stdout}{done.stderr}"


def scrape(lab, agent):
    """The exporter's answer for `agent`: [(name, {label: value}, value)] and {name: type}."""
    for attempt in range(3):
        port = free_port()
        exporter = lab.spawn(["prometheus-snmp-exporter", f"--config.file={EXAMPLES / 'snmp.yml'}",
                              f"--web.listen-address=127.0.0.1:{port}"], f"exporter-{attempt}")
        if exporter.wait_for("Listening on", 30):
            break
    else:
        raise AssertionError(f"the exporter did not start:\n{exporter.describe()}")
    url = f"http://127.0.0.1:{port}/snmp?module=vrrp&target={agent}"
    text = urllib.request.urlopen(url, timeout=30).read().decode()
    types = dict(line.split()[2:4] for line in text.splitlines() if line.startswith("# TYPE"))
    samples = [(m[1], dict(LABEL.findall(m[2] or "")), float(m[3]))
               for m in map(SAMPLE.match, text.splitlines()) if m]
    return samples, types


def row(name, labels):
    """A sample's metric and virtual router: (name, ifIndex, VRID) or (..., address family)."""
    return (name, *(labels[k] for k in ("ifIndex", "vrrpOperVrId", "vrrpv3OperationsVrId",
                                         "vrrpv3OperationsInetAddrType") if k in labels))


def test_exporter_reports_every_router_and_the_alerts_hold(lab, tmp_path):
    run("prometheus-snmp-generator", "--fail-on-parse-errors", "generate", "-o",
        str(tmp_path / "snmp.yml"), cwd=EXAMPLES,
        env=dict(lab.env, MIBDIRS=str(SOURCE_DIR / "examples" / "mibs")))
    assert (tmp_path / "snmp.yml").read_text() == (EXAMPLES / "snmp.yml").read_text(), \
        "snmp.yml differs from what generator.yml makes: run `make prometheus-config`"
    run("promtool", "check", "rules", str(EXAMPLES / "alerts.yml"))
    run("promtool", "test", "rules", str(ALERTS_TEST))

    daemon = lab.daemon(state=Path(__file__).with_name("vrrpv3-lab.json"))
    samples, types = scrape(lab, daemon.address)
    # Each router in its own MIB, the dual-stack one once per family, in the document's state.
    states = {row(name, labels): labels[name] for name, labels, value in samples
              if name in ("vrrpOperState", "vrrpv3OperationsStatus") and value == 1}
    assert states == {("vrrpOperState", "2", "5"): "master",
                      ("vrrpv3OperationsStatus", "2", "6", "ipv4"): "backup",
                      ("vrrpv3OperationsStatus", "3", "7", "ipv6"): "master",
                      ("vrrpv3OperationsStatus", "4", "8", "ipv4"): "initialize",
                      ("vrrpv3OperationsStatus", "4", "8", "ipv6"): "initialize"}
    masters = {row(name, labels)[1:]: labels[name] for name, labels, _ in samples
               if name.endswith("MasterIpAddr")}
    assert masters == {("2", "5"): "192.0.2.2", ("2", "6", "ipv4"): "0xC0000203",
                       ("3", "7", "ipv6"): "0xFE800000000000000000000000000002",
                       ("4", "8", "ipv4"): "0x00000000", ("4", "8", "ipv6"): "0x" + "0" * 32}
    # A Counter64 beyond 32 bits arrives whole, as a counter.
    values = {row(name, labels): value for name, labels, value in samples}
    assert types["vrrpv3StatisticsRcvdAdvertisements"] == "counter"
    assert values[("vrrpv3StatisticsRcvdAdvertisements", "2", "6", "ipv4")] == 4294967300
    # The alert rules' test speaks of the metrics and labels the exporter reports.
    reported = {(name, label) for name, labels, _ in samples for label in labels}
    for name, labels in re.findall(r"series: '(\w+)\{(.*)\}'", ALERTS_TEST.read_text()):
        for label, _ in LABEL.findall(labels):
            assert label in ("job", "instance", "vrrp_group") or (name, label) in reported, \
                (name, label)
