# Tests of the tree and of what it installs; they are the same under every compiler.
add_test(NAME LayersTest.EveryFileIncludesOnlyWhatStandsBelowIt
  COMMAND ${PROJECT_SOURCE_DIR}/cmake/check-layers)
add_test(NAME LayersTest.TheCheckerNamesEachKindOfBreach
  COMMAND ${PROJECT_SOURCE_DIR}/tests/tree/layers)
add_test(NAME PackageTest.AnotherProjectBuildsAgainstWhatIsInstalled
  COMMAND ${PROJECT_SOURCE_DIR}/tests/tree/package ${PROJECT_BINARY_DIR} ${CMAKE_CXX_COMPILER})
add_test(NAME PackageTest.LinksAllThatInstalledHeadersDeclareAndUsesTheirTemplates
  COMMAND ${PROJECT_SOURCE_DIR}/tests/tree/declarations ${PROJECT_BINARY_DIR} ${CMAKE_CXX_COMPILER})
set_tests_properties(
  LayersTest.EveryFileIncludesOnlyWhatStandsBelowIt
  LayersTest.TheCheckerNamesEachKindOfBreach
  PackageTest.AnotherProjectBuildsAgainstWhatIsInstalled
  PackageTest.LinksAllThatInstalledHeadersDeclareAndUsesTheirTemplates
  PROPERTIES LABELS tree TIMEOUT 300)
set_tests_properties(PackageTest.LinksAllThatInstalledHeadersDeclareAndUsesTheirTemplates
  PROPERTIES SKIP_RETURN_CODE 77)
