# make run    sets up, builds, and shows the main job with real VRRP daemons in private network namespaces
# make test   sets up, builds, and runs every test
# The rest: make help
.DEFAULT_GOAL := help
.PHONY: help setup build build-sanitize build-fuzz run test soak tools bench bench-quick bench-adds install lint format clean

PREFIX ?= /usr/local

help:
	@echo "make run               set up, build, and watch the main job: real VRRP daemons, real kernel,"
	@echo "                       pairs appearing in the hardware table"
	@echo "make run CONFIG=FILE   set up, build, and run the agent on your own configuration"
	@echo "make test              set up, build, and run every test; ends with one line of totals"
	@echo "make soak              the long runs, 10 minutes or MINUTES=N in all: histories against the rules, fuzzing,"
	@echo "                       kills under traffic, fail-overs, and a switch's whole life at random (SEED=S)"
	@echo "make tools             the framework and the plug-in under ThreadSanitizer, valgrind and cppcheck, and which"
	@echo "                       lines of them their tests run: half an hour"
	@echo "make bench             set up, build, and measure the product beside hand-written code (docs/performance.md)"
	@echo "make bench-quick       the most important of it, in under a minute"
	@echo "make bench-adds        set up, build, and measure how fast the hardware is programmed (docs/performance.md)"
	@echo "make install           set up, build, and install below PREFIX (/usr/local), in DESTDIR if that is given"
	@echo "make lint              format, static analysis, warnings as errors with g++ and clang++"
	@echo "make format            lay the code out as make lint wants it"
	@echo "make build | clean     only build (build/release) | remove everything built"

setup:
	@scripts/setup

build: setup
	@scripts/build release

build-sanitize: setup
	@scripts/build sanitize

build-fuzz: setup
	@scripts/build fuzz

run: setup
	@scripts/build release orlo-agent orloctl
	@scripts/demo $(CONFIG)

test: build build-sanitize build-fuzz
	@scripts/test release sanitize

soak: build build-fuzz
	@scripts/soak $(if $(MINUTES),--minutes $(MINUTES)) $(if $(SEED),--seed $(SEED))

tools: setup
	@scripts/threads
	@scripts/cppcheck
	@scripts/valgrind
	@scripts/coverage

BENCHES = bench_pipeline bench_memory bench_containers bench_framework

bench: setup
	@scripts/build release $(BENCHES) orlo-agent orloctl
	@scripts/bench --instructions --agent --write

bench-quick: setup
	@scripts/build release $(BENCHES)
	@scripts/bench --quick

bench-adds: setup
	@scripts/build release bench_adds wide_registers
	@scripts/bench-adds

install: build
	@DESTDIR='$(DESTDIR)' cmake --install build/release --prefix '$(PREFIX)'

lint: build
	@scripts/lint

format:
	@git ls-files --cached --others --exclude-standard '*.h' '*.ipp' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
