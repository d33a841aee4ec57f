# Tests of the description record and the small values that travel with it.
orb_test(records_test records_test.cpp)
orb_test(channels_test channels_test.cpp)
orb_test(limits_test limits_test.cpp)
