#include "catalogues/sv_os_component.h"

#include "log_capture.h"
#include "qt_printers.h"
#include "sandbox.h"

#include <QDomDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList paths(const QList<QUrl>& urls) {
    QStringList result;
    for (const QUrl& url : urls)
        result.append(url.toLocalFile());
    return result;
}

QStringList names(const QList<SVOSComponent>& components) {
    QStringList result;
    for (const SVOSComponent& component : components)
        result.append(component.name());
    return result;
}

class OSComponents : public ::testing::Test {
protected:
    QString write(const QByteArray& xml) const {
        return sandbox.makeFile(sandbox.homePath(u"SystemData.xml"_s), xml);
    }
    std::optional<QList<SVOSComponent>> load(const QByteArray& xml) const {
        return SVOSComponent::loadDataFromFile(write(xml));
    }

    Sandbox sandbox;
    LogCapture log;
};

const QString kIncorrect = u"SVOSComponent::initWithXml called with incorrect XML element: "_s;

TEST_F(OSComponents, SortsNamesNaturallyIgnoringCase) {
    const auto components = load("<systemdata>"
                                 "<component name='Dock 10'/><component name='Dock 9'/>"
                                 "<component name='dock'/><component name='Item 100'/>"
                                 "<component name='item 2'/><component name='Item 20'/>"
                                 "<component name='Accounts'/></systemdata>");
    ASSERT_TRUE(components);
    EXPECT_EQ(names(*components), (QStringList{u"Accounts"_s, u"dock"_s, u"Dock 9"_s, u"Dock 10"_s,
                                               u"item 2"_s, u"Item 20"_s, u"Item 100"_s}));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(OSComponents, ComparesNamesAndDescriptionsNaturally) {
    const auto components =
        load("<systemdata>"
             "<component name='Disk 9'><description>Layer 10</description></component>"
             "<component name='disk 10'><description>layer 9</description></component>"
             "</systemdata>");
    ASSERT_TRUE(components);
    ASSERT_EQ(components->size(), 2);
    const SVOSComponent& nine = components->at(0);
    const SVOSComponent& ten = components->at(1);
    ASSERT_EQ(nine.name(), u"Disk 9"_s);
    EXPECT_LT(nine.compareName(ten), 0);
    EXPECT_GT(ten.compareName(nine), 0);
    EXPECT_EQ(nine.compareName(nine), 0);
    EXPECT_GT(nine.compareDescription(ten), 0);
    EXPECT_LT(ten.compareDescription(nine), 0);
}

TEST_F(OSComponents, ParsesEachComponentInDocumentOrder) {
    const auto components = load(R"(<systemdata>
  <!-- the Dock -->
  <component name="Dock">
    <description>First</description>
    <domain>com.example.dock</domain>
    <path>~/Library/Preferences/com.example.dock.db</path>
    <description></description>
    <search>~/Library/Application Support/Dock/??.db</search>
    <domain>   </domain>
    <description>Last</description>
    <Domain>ignored</Domain>
    <path type="cache">/Library/Dock</path>
    <extra>ignored</extra>
    <domain/>
  </component>
  <component description="no name"><description>Nameless</description></component>
  <component name=""><domain>x</domain></component>
  <Component name="Capital"/>
  <component name="Bare"/>
  <component name="Dock"><domain>twin</domain></component>
</systemdata>)");
    ASSERT_TRUE(components);
    EXPECT_EQ(log.lines(), (QStringList{kIncorrect, kIncorrect + u"Component"_s}));
    ASSERT_EQ(names(*components), (QStringList{u"Bare"_s, u"Dock"_s, u"Dock"_s}));
    EXPECT_TRUE(components->at(0).description().isNull());
    EXPECT_TRUE(components->at(0).domainsToClean().isEmpty());
    const SVOSComponent& dock =
        components->at(1).description().isNull() ? components->at(2) : components->at(1);
    EXPECT_EQ(dock.description(), u"Last"_s);
    EXPECT_EQ(dock.domainsToClean(), (QStringList{u"com.example.dock"_s, u"   "_s}));

    // Fixed paths first, then search results; the cache type means nothing here.
    EXPECT_TRUE(dock.filesToDelete().isEmpty());
    const QString db =
        sandbox.makeFile(sandbox.homePath(u"Library/Application Support/Dock/a.db"_s));
    const QString fixed =
        sandbox.makeFile(sandbox.homePath(u"Library/Preferences/com.example.dock.db"_s));
    const QString system = sandbox.makeFolder(sandbox.rootPath(u"Library/Dock"_s));
    EXPECT_EQ(paths(dock.filesToDelete()), (QStringList{fixed, system, db}));
}

TEST_F(OSComponents, UnusableCataloguesGiveNothing) {
    EXPECT_FALSE(load("<applist><component name='Dock'/></applist>"));
    EXPECT_EQ(
        log.lines(),
        QStringList{
            u"Error in OSComponent data : root element is not \"systemdata\": root name = applist"_s});
    log.clear();
    const QString broken = write("<systemdata><component name='Dock'></systemdata>");
    EXPECT_FALSE(SVOSComponent::loadDataFromFile(broken));
    ASSERT_EQ(log.lines().size(), 1);
    const QString prefix = u"Failed to load OS component data from %1.\n\t"_s.arg(broken);
    EXPECT_TRUE(log.lines().first().startsWith(prefix)) << log.lines().first().toStdString();
    EXPECT_GT(log.lines().first().size(), prefix.size());

    // An empty catalogue is a catalogue, not a failure.
    log.clear();
    const auto empty = load("<systemdata><!-- nothing yet --></systemdata>");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->isEmpty());
    EXPECT_EQ(log.lines(), QStringList{kIncorrect});
}

TEST_F(OSComponents, InitWithXmlRejectsNothingAndOtherNodes) {
    EXPECT_FALSE(SVOSComponent::initWithXml(QDomNode()));
    QDomDocument document;
    EXPECT_FALSE(SVOSComponent::initWithXml(document.createTextNode(u"loose text"_s)));
    EXPECT_FALSE(SVOSComponent::initWithXml(document.createElement(u"app"_s)));
    EXPECT_EQ(log.lines(), (QStringList{u"SVOSComponent::initWithXml called with nil XML element"_s,
                                        kIncorrect, kIncorrect + u"app"_s}));
}

TEST_F(OSComponents, AccessorsChangeNameAndDescription) {
    const auto components = load("<systemdata><component name='A'/></systemdata>");
    ASSERT_TRUE(components && components->size() == 1);
    SVOSComponent component = components->first();
    component.setName(u"B"_s);
    component.setDescription(u"about B"_s);
    EXPECT_EQ(component.name(), u"B"_s);
    EXPECT_EQ(component.description(), u"about B"_s);
}

} // namespace
