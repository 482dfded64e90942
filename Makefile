# The everyday commands; `make help` lists them. Each installs the Debian packages that it needs where it may, and
# names them where it may not.

JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
FUZZ_JOBS ?= $(shell nproc)
PAGE ?= ON
RELEASE := build/release
# Tests wait for half of their time.
TEST_JOBS = $$((2 * $(JOBS)))

.PHONY: all help run test test-host test-fleet test-packages install uninstall deb sanitizers bench newcomer fuzz \
   fuzz-targets coverage format lint lint-quick clean

# PAGE=OFF builds hostmem-overview without its page, which needs Node and the npm registry; AUTO does where they lack.
all: packages-$(if $(filter OFF,$(PAGE)),build,page) packages-exporter ## build the release, into build/release
	@cmake --preset release -DHOSTMEM_TESTS=OFF -DHOSTMEM_PAGE=$(PAGE) >/dev/null
	@cmake --build --preset release -j $(JOBS)

help: ## list these commands
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "%-15s %s\n", $$1, $$2 }' $(MAKEFILE_LIST)
	@echo
	@echo 'Variables: JOBS=$(JOBS) PREFIX=$(PREFIX) DESTDIR=$(DESTDIR) FUZZ_SECONDS=$(FUZZ_SECONDS) FUZZ_JOBS=$(FUZZ_JOBS) PAGE=$(PAGE)'

# The reports show a selection of their columns that fits a terminal of 80. The screen at the end leaves room for the
# two lines below it.
run: packages-build ## build, then report on this host, live
	@echo 'Building; from nothing that takes some minutes'
	@cmake --preset release -DHOSTMEM_TESTS=OFF >/dev/null
	@cmake --build --preset release -j $(JOBS)
	$(RELEASE)/bin/hostmem -r comp-stats -u mb \
	   -s total:kernelCode:dataAndHeap:otherConsumed:free:memState
	$(RELEASE)/bin/hostmem -r group-stats -u mb -l 3 -e sys \
	   -s gid:name:nChild:memSize:consumed
	@lines=$$(tput lines 2>/dev/null) || lines=24; \
	   $(RELEASE)/bin/hostmem-overview --height $$((lines > 22 ? lines - 2 : 20))
	@echo
	@echo 'Next, in $(RELEASE)/bin: hostmem-overview --findings, hostmem --help'

test: packages-test ## build and run every test
	@cmake --preset release -DHOSTMEM_TESTS=ON -DHOSTMEM_PAGE=$(PAGE)
	@cmake --build --preset release -j $(JOBS)
	tests/run release -j $(TEST_JOBS)

# PACKAGE_TESTS names some of the scripts in tests/packaging; without it all run.
test-packages: packages-deb-test deb ## test the Debian packages and an installation; some tests need root
	tests/packaging/run build/packages $(PACKAGE_TESTS)

# Inside an emulated host nothing else runs, so that figures stand still while they are compared.
test-host: packages-test-host ## boot Debian kernels in QEMU and compare every figure there with the kernel's files
	@cmake --preset release -DHOSTMEM_TESTS=ON
	@cmake --build --preset release -j $(JOBS) --target hostmem hostmem-exporter hostmem-record nevra \
	   test_host_programs
	tests/host/run $(RELEASE)

# Prometheus, VictoriaMetrics and ClickHouse run for the test alone, on loopback.
test-fleet: packages-test-fleet ## ask real engines about a fleet of made-up hosts
	@cmake --preset release -DHOSTMEM_TESTS=ON
	@cmake --build --preset release -j $(JOBS) --target test_fleet_programs
	tests/fleet/run $(RELEASE)

install: packages-build ## install to $(DESTDIR)$(PREFIX)
	@DESTDIR=$(DESTDIR) packaging/install $(PREFIX) $(JOBS)

# What is installed into no other project's folder, the innermost first.
OWN_FOLDERS := share/hostmem/prometheus/consoles share/hostmem/prometheus share/hostmem \
   share/doc/hostmem/examples share/doc/hostmem/manuals share/doc/hostmem include/nevra

# The manifest ends without a newline, which sed adds. Of the folders, hostmem's own go too when they are empty.
uninstall: ## remove what make install installed
	@if [ ! -f build/install_manifest.txt ]; then \
	   echo 'make uninstall: nothing has been installed from this folder' >&2; \
	   exit 1; \
	fi
	@removed=$$(sed 's,^,$(DESTDIR),' build/install_manifest.txt | xargs -d '\n' rm -fv) || exit 1; \
	(cd "$(DESTDIR)$$(sed -n 's,/bin/hostmem$$,,p' build/install_manifest.txt)" && \
	   rmdir --ignore-fail-on-non-empty $(OWN_FOLDERS)) 2>/dev/null; \
	if [ -n "$$removed" ]; then \
	   echo "$$removed"; \
	else \
	   echo 'make uninstall: no installed file is left' >&2; \
	fi

# The date of the packages' files is that of the newest entry of debian/changelog.
deb: packages-deb ## make the Debian packages and their source package, in build/packages
	@echo 'Building the packages in a copy of the sources, for several minutes'
	JOBS=$(JOBS) PAGE=$(PAGE) packaging/make-packages build/packages

sanitizers: packages-test ## every test under the address, undefined-behaviour and leak sanitizers
	@cmake --preset sanitizers
	@cmake --build --preset sanitizers -j $(JOBS)
	tests/run sanitizers -j $(TEST_JOBS)

# The figures go to build/release/bench.md and build/release/performance-growth.svg; bench/update-docs copies them
# into docs/.
bench: packages-bench ## measure against floors and other tools, for about ten minutes
	@cmake --preset release -DHOSTMEM_TESTS=OFF -DHOSTMEM_BENCH=ON
	@cmake --build --preset release -j $(JOBS)
	@echo 'Measuring, for about ten minutes'
	bench/run $(RELEASE) >$(RELEASE)/bench.md
	@cat $(RELEASE)/bench.md

newcomer: packages-deb-test deb ## time the first steps on a fresh Debian; as root
	@echo 'Making a fresh Debian, then building and testing in it, for several minutes'
	bench/newcomer build/packages

fuzz: fuzz-targets ## run each fuzz target for FUZZ_SECONDS, FUZZ_JOBS of them at a time
	@echo 'Each target runs for $(FUZZ_SECONDS) seconds, $(FUZZ_JOBS) at a time, and prints a line when it ends'
	fuzz/run build/fuzz $(FUZZ_SECONDS) $(FUZZ_JOBS)

fuzz-targets: packages-fuzz ## build the fuzz targets
	@cmake --preset fuzz
	@cmake --build --preset fuzz -j $(JOBS)

# The counts start anew, and the build repeats what it makes with its own programs: the manuals, the completions,
# the samples. Two tests are left out: counters can be written neither where files may have one kilobyte, nor by another
# user.
coverage: packages-coverage ## line and branch coverage per file; fails below the limits in tests/coverage
	@cmake --preset coverage
	@find build/coverage -name '*.gcda' -delete
	@ninja -C build/coverage -t clean -r CUSTOM_COMMAND >/dev/null
	@cmake --build --preset coverage -j $(JOBS)
	tests/run coverage -j $(TEST_JOBS) \
	   --exclude-regex 'SnapshotTool.DiskThatIsFullIsAFailure|OverviewProgram.ShowsThisHostToOneWhoIsNotRoot'
	@echo 'Counting the lines and branches that ran, for about half a minute'
	tests/coverage build/coverage

# The record layouts are tables and keep their own form.
format: packages-lint ## apply the format
	git ls-files '*.cpp' '*.h' ':!nevra/include/nevra/records.h' | xargs clang-format -i

lint: packages-lint ## clang-format, shellcheck, cppcheck and clang-tidy; any finding fails
lint-quick: packages-lint ## the same, with clang-tidy on shipped files only and without its slowest checks
lint lint-quick:
	@cmake --preset lint >/dev/null
	@cmake --build --preset lint -j $(JOBS)
	JOBS=$(JOBS) lint/run build/lint $(if $(findstring quick,$@),quick)

clean: ## remove everything that was built
	rm -rf build

packages-%:
	@packaging/install-packages $*
