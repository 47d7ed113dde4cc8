#!/usr/bin/env bash
# memcheck.sh: runs the tests of runtime/ and store/ under valgrind, which finds what the sanitizers cannot: the use of
# memory that nobody has written. The status is 0 only when all pass and valgrind has nothing to say.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build display
tools/build.sh release runtime_tests store_tests

# These limit the process to less memory or fewer descriptors than valgrind itself needs, or start what it cannot.
without=(
    FrameCacheRemovalSafetyTest.ADeepNestGoesWithFewDescriptorsAndLittleMemory
    CacheWalkTest.FewDescriptorsAreHeldOpen
    DirectoryWalkTest.FourThousandLevelsAreWalkedWithFewDescriptors
    DirectoryWalkTest.MemoryGrowsWithTheDepthNotWithItsSquare
    'Both/RemovalWalkTest.FewDescriptorsAreEnough/*'
    'KeyTableTest.WantOfMemoryIsAnError*'
    RenderQueueOpeningTest.FailsWhenTheFileCannotBeReadToItsEnd
    ShellCommandTest.ACommandThatIsTooLongCannotBeRun
)
filter=$(IFS=: && echo "-${without[*]}")

status=0
for tests in runtime_tests store_tests; do
    valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
        "build/release/tests/$tests" --gtest_brief=1 "--gtest_filter=$filter" || status=1
done
exit "$status"
