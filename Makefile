# make demo: install what is missing, build, and run the main job on the built-in phantom.
# make test: the same set-up, then every test (GCC release, Clang release, ASan+UBSan, TSan on the threaded tests).
.PHONY: all deps build demo test test-release test-install test-clang test-asan test-tsan format format-check bench bench-python fuzz install clean

JOBS ?= 2

all: build

deps:
	@scripts/install-deps.sh

build: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS)

demo: build
	@scripts/demo.sh build/release

test: deps format-check test-release test-install test-clang test-asan test-tsan
	@echo "All test configurations passed."

test-release:
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	ctest --preset release

test-install: test-release
	scripts/check-install.sh build/release

test-clang:
	cmake --preset clang >/dev/null
	cmake --build --preset clang -j $(JOBS)
	ctest --preset clang

test-asan:
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

test-tsan:
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan --no-tests=ignore

bench:
	@scripts/install-deps.sh libvtk9-dev libcairo2-dev libinsighttoolkit5-dev
	cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS)
	build/bench/bench/zel_bench $(BENCH_ARGS)

# make fuzz: each of zelgen's fuzzing targets in turn for FUZZ_SECONDS (default
# 600), starting from the corpus kept in tests/fuzz/corpus; new inputs go to
# build/fuzz/found/NAME, findings to build/fuzz/findings/NAME-*. Add a fixed
# finding's input to tests/fuzz/corpus/NAME, which make test replays. (A GDCM
# abort ends a DICOM read by a jump past destructors: no leak checks there.)
FUZZ_SECONDS ?= 600
FUZZ_TARGETS = nifti raw dicom options

fuzz: deps
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS) $(addprefix --target fuzz_,$(FUZZ_TARGETS))
	@mkdir -p build/fuzz/findings
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p build/fuzz/found/$$t; \
	  echo "fuzz_$$t: $(FUZZ_SECONDS) s"; \
	  leaks=1; [ $$t = dicom ] && leaks=0; \
	  ASAN_OPTIONS=detect_leaks=$$leaks LSAN_OPTIONS=suppressions=tests/fuzz/lsan.supp build/fuzz/tests/fuzz/fuzz_$$t -max_total_time=$(FUZZ_SECONDS) -timeout=20 \
	    -print_final_stats=1 -detect_leaks=$$leaks \
	    -artifact_prefix=build/fuzz/findings/$$t- build/fuzz/found/$$t tests/fuzz/corpus/$$t || exit 1; \
	done

bench-python: build
	PYTHONPATH=build/release/python /usr/bin/python3 bench/bench_python.py

FORMAT_FILES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

format:
	clang-format -i $(FORMAT_FILES)

format-check:
	@clang-format --dry-run -Werror $(FORMAT_FILES)

install: build
	cmake --install build/release --prefix $(or $(PREFIX),/usr/local)

clean:
	rm -rf build
