# Tests of the description record and the small values that travel with it.
orb_test(info_test info_test.cpp)
orb_test(channels_test channels_test.cpp)
orb_test(settings_test settings_test.cpp)
orb_test(lut_test lut_test.cpp)
orb_test(limits_test limits_test.cpp)
orb_test(messages_test messages_test.cpp)
