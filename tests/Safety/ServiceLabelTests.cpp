#include "Safety/ServiceLabel.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace velmora;

TEST(ServiceLabel, PlainThirdPartyLabelsUpToTheLimitPassBadShapesAndProtectedPrefixesInAnyCaseDoNot) {
    // Near misses of protected prefixes are someone else's services.
    for (const std::string& label : std::vector<std::string>{
             "org.example.daemon", "A", "0x.Helper_2-b", std::string(201, 'a'), "com.apple",
             "com.applesauce.updater", "de.tobrenlux.velmora", "org.cupsd.x"})
        EXPECT_TRUE(ServiceLabel::isValid(label)) << label;
    for (const std::string& label :
         std::vector<std::string>{"", std::string(202, 'a'), std::string("a\0b", 3), "-x", ".x", "_x", "a b",
                                  "a/b", "../x", "a;b", "a$b", "x\n", "ä.helper", "helper.ä", "a\tb"})
        EXPECT_FALSE(ServiceLabel::isValid(label)) << label;
    for (const std::string label :
         {"com.apple.foo", "Com.Apple.x", "COM.APPLE.X", "de.tobrenlux.velmora2.check",
          "De.Tobrenlux.Velmora2.check.weekly", "com.openssh.sshd", "com.vix.cron", "com.vix.crond",
          "org.cups.cupsd", "org.apache.httpd", "org.apache.httpd2", "org.net-snmp.snmpd",
          "org.openldap.slapd", "org.ntp.ntpd"})
        EXPECT_FALSE(ServiceLabel::isValid(label)) << label;
}
