# SPDX-License-Identifier: Apache-2.0
# Entry point for newcomers and CI: `make test` on a fresh Debian 12 machine installs what is
# missing, builds twice (plain and with sanitizers) and runs every test in both.
# The build directories and flags live in CMakePresets.json (presets default and asan).

PACKAGES := build-essential cmake ninja-build pkg-config libsnmp-dev snmp snmpd snmptrapd \
            libgtest-dev libgmock-dev googletest libbenchmark-dev clang libclang-rt-14-dev \
            clang-format python3-pytest python3-pysnmp4 libsystemd-dev debhelper lintian \
            systemd man-db libsimdjson-dev frr iproute2 libmnl-dev debootstrap systemd-container \
            libcap-dev prometheus-snmp-exporter prometheus
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps build asan test fuzz format format-check clean demo bench package systemd-check \
        prometheus-config

all: build

# Installs only the packages dpkg does not report as installed; apt-get update runs only then.
# Packages install with a temporary policy-rc.d (unless the machine has one) so that none of
# their services start: in a bare container invoke-rc.d would run snmpd's init script and fail
# the install if that agent cannot start, and FRR's daemons must never run as a system service
# here. The tests never use a system snmpd or FRR; they start their own.
deps:
	@missing=""; \
	for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -z "$$missing" ]; then echo "== deps: all packages present"; exit 0; fi; \
	if [ "$$(id -u)" != 0 ]; then \
	  echo "== deps: missing packages; run:"; \
	  echo "sudo apt-get install -y$$missing"; \
	  exit 1; \
	fi; \
	echo "== deps: installing$$missing"; \
	export DEBIAN_FRONTEND=noninteractive; \
	policy=""; \
	if [ ! -e /usr/sbin/policy-rc.d ]; then \
	  policy=/usr/sbin/policy-rc.d; \
	  printf '#!/bin/sh\nexit 101\n' > $$policy && chmod 755 $$policy; \
	  trap 'rm -f '"$$policy" EXIT; \
	fi; \
	apt-get update -qq && apt-get install -y -qq --no-install-recommends $$missing

define build-default
	@echo "== build: RelWithDebInfo in build/"
	cmake --preset default
	cmake --build --preset default -j $(JOBS)
endef

define test-default
	@echo "== test: RelWithDebInfo (build/)"
	ctest --preset default -j $(JOBS)
endef

define build-asan
	@echo "== build: RelWithDebInfo, clang with AddressSanitizer and UBSan, fuzz targets too, in build-asan/"
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
endef

define test-asan
	@echo "== test: AddressSanitizer and UBSan (build-asan/)"
	ctest --preset asan -j $(JOBS)
endef

build: deps
	$(build-default)

# The sanitizer build and its tests only.
asan: deps
	$(build-asan)
	$(test-asan)

# Both configurations, one after the other; each must pass.
test: deps
	$(build-default)
	$(test-default)
	$(build-asan)
	$(test-asan)
	@echo "== test: both configurations passed"

# The fuzz targets of the sanitizer build (clang, ASan, UBSan, libFuzzer; build-asan/), then every
# one run for FUZZ_SECONDS (default 60); fails when any target crashed. See fuzz/run.sh.
fuzz: deps
	fuzz/run.sh

SOURCES = git ls-files -z -- '*.h' '*.cpp'

format:
	$(SOURCES) | xargs -0 -r clang-format -i

format-check:
	$(SOURCES) | xargs -0 -r clang-format --dry-run --Werror

clean:
	rm -rf build build-asan build-bench dist

# The Debian package fhrp-snmp (version from CMakeLists.txt) into dist/, checked by lintian;
# see scripts/package.sh. scripts/package-check.sh installs, tries and purges it (CI does).
package: deps
	scripts/package.sh

# The package under a real systemd (as root): a minimal Debian 12 booted in a container,
# snmpd, FRR and the package installed there, each check printed; see scripts/systemd-check.sh.
# DEB=dist/fhrp-snmp_VERSION_ARCH.deb takes a package already built instead of building it.
systemd-check: deps
	scripts/systemd-check.sh $(DEB)

# examples/prometheus/snmp.yml from generator.yml and the MIB files in examples/mibs;
# tests/integration/test_prometheus.py fails when the committed file differs from the result.
prometheus-config: deps
	cd examples/prometheus && MIBDIRS=$(CURDIR)/examples/mibs \
	  prometheus-snmp-generator --fail-on-parse-errors generate

# Builds the daemon and runs it on examples/lab.json with a local trap receiver.
demo: deps
	$(build-default)
	@scripts/demo.sh

# Release build with the benchmarks in build-bench/, then every benchmark in turn; the tables go
# to standard output (docs/performance.md keeps the latest and how they were taken).
bench: deps
	@echo "== bench: Release with the benchmarks in build-bench/"
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	bench/run.sh build-bench
