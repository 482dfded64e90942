# The everyday commands. Each does all the set-up it needs: it installs the Debian packages that are missing
# where it may, and names them where it may not.

JOBS ?= 2
RELEASE := build/release

.PHONY: all run test test-packages install uninstall deb sanitizers bench newcomer fuzz fuzz-targets coverage format lint lint-quick clean

all: packages-build
	@cmake --preset release -DHOSTMEM_TESTS=OFF >/dev/null
	@cmake --build --preset release -j $(JOBS)

# Builds, then reports on this host, live.
run: packages-build
	@cmake --preset release -DHOSTMEM_TESTS=OFF >/dev/null
	@cmake --build --preset release -j $(JOBS) -- --quiet
	$(RELEASE)/bin/hostmem -r comp-stats
	$(RELEASE)/bin/hostmem -r group-stats

# Builds and runs every test.
test: packages-test
	@cmake --preset release -DHOSTMEM_TESTS=ON
	@cmake --build --preset release -j $(JOBS)
	tests/run release -j $(JOBS)

# Installs to $(DESTDIR)$(PREFIX), and removes what was installed.
PREFIX ?= /usr/local
install: packages-build
	@cmake --preset release -DHOSTMEM_TESTS=OFF -DCMAKE_INSTALL_PREFIX=$(PREFIX) >/dev/null
	@cmake --build --preset release -j $(JOBS)
	DESTDIR=$(DESTDIR) cmake --install $(RELEASE) --strip

uninstall:
	@sed 's,^,$(DESTDIR),' $(RELEASE)/install_manifest.txt | xargs -d '\n' rm -fv

# Makes the Debian packages, in build/packages. Their files carry the date of the newest entry of the changelog.
deb: packages-deb
	@cmake --preset package
	@cmake --build --preset package -j $(JOBS)
	packaging/make-packages build/package build/packages

# Tests the packages and installations: builds the project elsewhere, and installs it into a fresh Debian.
test-packages: packages-deb-test deb
	tests/packaging/run build/package build/packages

# Every test under the address, undefined-behaviour and leak sanitizers.
sanitizers: packages-test
	@cmake --preset sanitizers
	@cmake --build --preset sanitizers -j $(JOBS)
	tests/run sanitizers -j $(JOBS)

# Measures against floors and other tools, for about five minutes. What it found is in build/release/bench.md and
# build/release/performance-growth.svg; bench/update-docs takes it into docs/.
bench: packages-bench
	@cmake --preset release -DHOSTMEM_TESTS=OFF -DHOSTMEM_BENCH=ON
	@cmake --build --preset release -j $(JOBS)
	bench/run $(RELEASE) >$(RELEASE)/bench.md
	@cat $(RELEASE)/bench.md

# Times the way of somebody new to the project on a fresh Debian; as root.
newcomer: packages-deb-test deb
	bench/newcomer build/packages

# Builds the fuzz targets and runs each for FUZZ_SECONDS, FUZZ_JOBS of them at a time.
FUZZ_SECONDS ?= 60
FUZZ_JOBS ?= $(shell nproc)
fuzz: fuzz-targets
	fuzz/run build/fuzz $(FUZZ_SECONDS) $(FUZZ_JOBS)

# Builds them alone.
fuzz-targets: packages-fuzz
	@cmake --preset fuzz
	@cmake --build --preset fuzz -j $(JOBS)

# Every test, then the lines and branches that ran, per file; fails below the marks of tests/coverage. The counts
# start anew, and the build repeats what it makes with its own programs: the manuals, the completions, the samples.
coverage: packages-coverage
	@cmake --preset coverage
	@find build/coverage -name '*.gcda' -delete
	@ninja -C build/coverage -t clean -r CUSTOM_COMMAND >/dev/null
	@cmake --build --preset coverage -j $(JOBS)
	tests/run coverage -j $(JOBS)
	tests/coverage build/coverage

# The record layouts are tables and keep their own form.
format: packages-lint
	git ls-files '*.cpp' '*.h' ':!nevra/include/nevra/records.h' | xargs clang-format -i

# Every static analysis; lint-quick is the part of it that continuous integration has the time for.
lint lint-quick: packages-lint
	@cmake --preset lint >/dev/null
	@cmake --build --preset lint -j $(JOBS) -- --quiet
	JOBS=$(JOBS) lint/run build/lint $(if $(findstring quick,$@),quick)

clean:
	rm -rf build

packages-%:
	@packaging/install-packages $*
