# Thin wrapper around CMake and CTest.
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
FUZZ_SECONDS ?= 60
# Each target first installs the Debian packages it needs that are missing
# (debian-packages.txt lists them by group).
PACKAGES = .ci/install-packages
# Tests left out of the usual runs: `ctest -L soak`, `make fresh`.
SLOW_TESTS = soak|fresh

.PHONY: all build demo test fresh package asan tsan bench fuzz docs clean format

all: build

build:
	$(PACKAGES) demo build
	cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQVT_BUILD_TESTS=ON -DQVT_BUILD_BENCHMARKS=ON $(CMAKE_FLAGS)
	cmake --build build -j $(JOBS)

# Ten seconds of streaming from the virtual headset, no hardware needed.
# Builds only what it runs; a build tree it configures has no tests, which
# `make build` and `make test` turn on again.
demo:
	$(PACKAGES) demo
	test -f build/CMakeCache.txt || cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DQVT_BUILD_TESTS=OFF -DQVT_BUILD_BENCHMARKS=OFF $(CMAKE_FLAGS)
	cmake --build build -j $(JOBS) --target qvt-emulator qvt-stream
	build/bin/qvt-emulator -- build/bin/qvt-stream --seconds 10

test:
	$(PACKAGES) demo build test
	@$(MAKE) --no-print-directory build
	ctest --test-dir build --output-on-failure -j $(JOBS) -LE '$(SLOW_TESTS)'

# Debian packages (libqvt1, libqvt-dev, qvt-tools, python3-qvt) in
# build/packages: apt-get install ./build/packages/*.deb
package: build
	$(PACKAGES) package
	cd build && cpack --config CPackConfig.cmake

# As root: a minimal Debian 12 system made with debootstrap runs `make demo`
# and `make test` on a clone of this repository's last commit, then makes
# the packages there, installs and uses them.
fresh: build
	$(PACKAGES) fresh
	ctest --test-dir build --output-on-failure -L fresh

asan:
	$(PACKAGES) demo build test
	cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQVT_SANITIZE=address $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		ctest --test-dir build-asan --output-on-failure -j $(JOBS) -LE '$(SLOW_TESTS)'

tsan:
	$(PACKAGES) demo build test
	cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQVT_SANITIZE=thread $(CMAKE_FLAGS)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
		ctest --test-dir build-tsan --output-on-failure -j $(JOBS) -LE '$(SLOW_TESTS)'

bench: build
	@for b in build/bin/*_bench; do echo "== $$b"; $$b --benchmark_min_time=0.5; done
	@echo "== streaming at 600 Hz from the virtual headset: CPU share of the client, C and Python (15 s each)"
	@for mode in background batches; do \
		build/bin/qvt-emulator --rate 600 -- build/bin/streaming_cpu_share $$mode 15 2>/dev/null | tail -n 1; \
	done
	@QVT_LIBRARY=$(CURDIR)/build/lib/libqvt.so PYTHONPATH=$(CURDIR)/python build/bin/qvt-emulator --rate 600 -- \
		/usr/bin/python3 bench/streaming/python_cpu_share.py 15 2>/dev/null | tail -n 1
	@echo "== acquisition stamps against the virtual headset's truth, 600 Hz (30 s each; see docs/timing.md)"
	@for faults in "" "--drift 200 --jitter 10"; do \
		echo "-- $${faults:-no drift, no jitter}"; \
		build/bin/qvt-emulator --rate 600 $$faults --truth build/bench-truth.txt -- \
			build/bin/clock_accuracy build/bench-truth.txt 30 2>/dev/null | grep -v '^ '; \
	done
	@echo "== recording at 600 Hz from the virtual headset: CPU share of qvt-record, and of qvt-stream for comparison (20 s each)"
	@for tool in "qvt-record --seconds 20 build/bench-recording.bdf" "qvt-stream --seconds 20"; do \
		build/bin/qvt-emulator --rate 600 -- bash -c "TIMEFORMAT='%U %S %R'; time build/bin/$$tool >/dev/null 2>&1" 2>&1 | \
			awk -v tool="$${tool%% *}" '{ printf "%s: %.2f %% of a core (user %s s, system %s s, %s s)\n", tool, 100 * ($$1 + $$2) / $$3, $$1, $$2, $$3 }'; \
	done
	@rm -f build/bench-recording.bdf
	@echo "== playing a one-hour, 64-signal EDF+ as the virtual headset: start and CPU share"
	@build/bin/playback_cost | grep -v '^wrote'
	@echo "== latency on a pseudo-terminal (10 s each)"
	@LD_PRELOAD=$(CURDIR)/build/lib/libqvtptymodem.so build/bin/streaming_latency 10
	@echo "== LSL outlet at 600 Hz, 33 channels, one consumer on loopback, in a private network namespace (20 s)"
	@if [ -x build/bin/lsl_outlet_cost ]; then tests/tools/lsl/network/in_private_network.sh build/bin/lsl_outlet_cost 20; fi
	@echo "== markers from two LSL outlets and UDP, 100 a second each, against the virtual headset's truth, 600 Hz with drift and jitter, in a private network namespace (60 s)"
	@if [ -x build/bin/marker_accuracy ]; then tests/tools/lsl/network/in_private_network.sh build/bin/qvt-emulator \
		--rate 600 --drift 200 --jitter 10 --truth build/bench-truth.txt -- \
		build/bin/marker_accuracy build/bench-truth.txt 60 2>/dev/null | grep -v '^ *[0-9.]*: '; fi
	@echo "== qvt-monitor at 600 Hz with one page open in headless Chromium: the server's CPU share and the page's frame time (20 s)"
	@if [ -x build/bin/qvt-monitor ]; then /usr/bin/python3 tests/tools/monitor/check_monitor_page.py \
		build/bin/qvt-emulator build/bin/qvt-monitor --bench 20; fi

# Builds every fuzz target with clang and runs each for FUZZ_SECONDS on its
# seeds in fuzz/corpus/NAME, keeping what it finds in fuzz/corpus-NAME.
fuzz:
	$(PACKAGES) demo fuzz
	cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
		-DCMAKE_CXX_COMPILER=clang++ -DQVT_FUZZ=ON -DQVT_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build build-fuzz -j $(JOBS) --target fuzz_targets
	@for f in build-fuzz/bin/*_fuzz; do \
		name=$$(basename $$f _fuzz); \
		seeds=$$(ls -d fuzz/corpus/$$name 2>/dev/null); \
		mkdir -p fuzz/corpus-$$name; \
		echo "== $$name ($(FUZZ_SECONDS) s)"; \
		$$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 -artifact_prefix=build-fuzz/ \
			fuzz/corpus-$$name $$seeds || exit 1; \
	done

# The Python package's API reference, from its numpydoc docstrings (Debian
# python3-sphinx and python3-numpydoc); a docstring numpydoc finds
# incomplete fails it.
docs:
	$(PACKAGES) docs
	sphinx-build -q -W -E -b html python/docs build/docs/python
	@echo "wrote build/docs/python/index.html"

format:
	git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan build-fuzz
