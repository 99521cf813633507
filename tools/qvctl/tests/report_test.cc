// The page of `log report`, in a browser.

#include "browser.h"
#include "qvsupt32/log.h"
#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;
using Json = nlohmann::json;

constexpr uint32_t kLargest = 4194304;

class ReportTest : public ToolTest {
 protected:
  void SetUp() override
  {
    if (tool::Browser::program().empty()) {
      GTEST_SKIP() << "chromium is not installed";
    }
    if (isEmulated()) {
      GTEST_SKIP() << "the browser is no program for an emulated machine";
    }
  }

  void append(uint16_t type, uint32_t id, const std::u16string &source, const std::u16string &description,
              const std::string &data = "")
  {
    EXPECT_EQ(AppendToXMLLog("a.xml", type, id, nullptr, source.c_str(), description.c_str(),
                             data.empty() ? nullptr : data.data(), static_cast<uint32_t>(data.size()), kLargest),
              0u);
  }

  static std::string url(const std::string &view = "") { return "file:///dev/shm/scratch/page.html" + view; }
};

constexpr char kRows[] = "[...document.querySelectorAll('.row')].map(r => r.querySelector('.text').textContent)";

/// A log of so many events, a minute apart, of changing types and sources.
std::string manyEvents(int count)
{
  std::string log = R"(<?xml-stylesheet type="text/xsl" version="1.0" encoding="UTF-8"?><EventLog>)";
  const char *const types[] = {"1", "2", "4"};
  for (int i = 0; i < count; ++i) {
    log += "<LogEntry><TimeStamp>" + std::to_string(1795566960 + 60 * i) +
           "</TimeStamp><DateTime>x</DateTime><ComputerName>c</ComputerName><Type>" + types[i % 3] + "</Type><ID>" +
           std::to_string(i % 100) + "</ID><UserInfo></UserInfo><Source>source " + std::to_string(i % 7) +
           "</Source><Description>Event number " + std::to_string(i) + "</Description><Data></Data></LogEntry>";
  }
  return log + "</EventLog>";
}

TEST_F(ReportTest, HostileTextIsText)
{
  const std::u16string rows[] = {
      u"<script>document.title='owned'</script>",
      u"</script><script>document.title='owned'</script>",
      u"\"><img src=x onerror=\"document.title='owned'\">",
      u"\x202Egnirts desrever\x2066",
      u"<!--<script>",
      u"\\u003c @DATA@ @NONCE@ ${x} `y` ]]> &lt; javascript:alert(1)",
      u"line\r\nline\ttab \x1b[31m",
  };
  for (const std::u16string &row : rows) {
    append(SM_EVENT_ERROR, 1, row, row, "\"><script>");
  }
  ASSERT_EQ(run("qvctl log report a.xml -o page.html").status, 0);
  tool::Browser browser;
  browser.load(url());
  EXPECT_EQ(browser.value("document.title"), "Events of a.xml");
  EXPECT_EQ(browser.value("document.querySelectorAll('script, img, iframe, object').length"), 1) << "its own script";
  const Json shown = Json::parse(run("qvctl log show a.xml --json").out);
  ASSERT_EQ(shown.size(), std::size(rows));
  for (size_t i = 0; i < shown.size(); ++i) {
    EXPECT_EQ(browser.value(kRows)[i], shown[i]["text"]);
    browser.value("document.querySelectorAll('.row')[" + std::to_string(i) + "].click()");
    EXPECT_EQ(browser.value("document.querySelector('#details pre.text').textContent"), shown[i]["text"]);
    EXPECT_EQ(browser.value("document.querySelectorAll('#details dd')[3].textContent"), shown[i]["source"]);
  }
  EXPECT_EQ(browser.value("document.querySelector('#details pre.dump').textContent"),
            "00000000  22 3e 3c 73 63 72 69 70  74 3e                    |\"><script>|");
  // What turns the direction of a text stands in a box of its own.
  EXPECT_EQ(browser.value("getComputedStyle(document.querySelectorAll('.row')[3].querySelector('.control')).display"),
            "inline-block");
  EXPECT_EQ(browser.value("document.title"), "Events of a.xml");
  EXPECT_EQ(browser.value("fetch('data:,x').then(() => 'fetched', () => 'refused')"), "refused");
  EXPECT_EQ(browser.value("performance.getEntriesByType('resource').length"), 0);
  EXPECT_EQ(browser.value("new Promise(done => {document.addEventListener('securitypolicyviolation', () => done("
                          "'refused')); const s = document.createElement('script'); s.textContent = \"document.title ="
                          " 'owned'\"; document.body.append(s); setTimeout(() => done(document.title), 30000); })"),
            "refused");
  EXPECT_EQ(get("page.html").find("http"), get("page.html").find("http-equiv")) << "no address of any other place";
}

TEST_F(ReportTest, FiltersSortsAndChoosesASpan)
{
  put("a.xml", manyEvents(20000));
  ASSERT_EQ(run("qvctl log report a.xml -o page.html").status, 0);
  tool::Browser browser;
  browser.load(url());
  const auto count = [&] { return browser.value("document.getElementById('count').textContent"); };
  const auto use = [&](const std::string &code) {
    browser.value(code + "; new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))");
  };
  const auto type = [&](const std::string &id, const std::string &text) {
    use("{const i = document.getElementById('" + id + "'); i.value = '" + text +
        "'; i.dispatchEvent(new Event('input')); i.dispatchEvent(new Event('change'))}");
  };
  EXPECT_EQ(count(), "20,000 events");
  EXPECT_LT(browser.value("document.querySelectorAll('.row').length"), 60) << "rows are made as they come into view";
  use("document.getElementById('scroller').scrollTop = 1e9");
  EXPECT_EQ(browser.value(kRows).back(), "Event number 19999");

  type("words", "number 1234");
  EXPECT_EQ(count(), "12 of 20,000 events");
  EXPECT_EQ(browser.value(kRows)[0], "Event number 1234");
  EXPECT_EQ(browser.value("document.querySelector('mark').textContent"), "number");
  use("document.querySelector('[data-type=error]').click()");
  EXPECT_EQ(count(), "3 of 20,000 events");
  use("document.querySelector('[data-column=time] button').click()");
  EXPECT_EQ(browser.value(kRows)[0], "Event number 12348");
  EXPECT_EQ(browser.value("document.querySelector('[data-column=time]').getAttribute('aria-sort')"), "descending");
  use("document.getElementById('reset').click()");
  EXPECT_EQ(count(), "20,000 events");
  type("source", "source 3");
  EXPECT_EQ(count(), "2,857 of 20,000 events");
  type("ids", "5, 90-91");
  EXPECT_EQ(count(), "85 of 20,000 events");
  use("document.getElementById('reset').click()");
  type("from", "2026-11-25T00:46:00");
  type("to", "2026-11-25T00:50:00");
  EXPECT_EQ(count(), "5 of 20,000 events");
  use("document.querySelector('[data-column=source] button').click()");
  EXPECT_EQ(browser.value(kRows)[0], "Event number 14");
  use("document.querySelector('[data-column=type] button').click()");
  EXPECT_EQ(browser.value(kRows)[0], "Event number 12");
  use("document.getElementById('reset').click()");

  // The middle third of the chart.
  const Json plot = browser.value(
      "(({left, top, width}) => [left, top, width])(document.getElementById('plot')."
      "getBoundingClientRect())");
  const double left = plot[0];
  const double top = plot[1];
  const double width = plot[2];
  browser.drag(left + width / 3, top + 30, left + 2 * width / 3, top + 40);
  const int inSpan = browser.value("Number(document.getElementById('count').textContent.replace(/ .*|,/g, ''))");
  EXPECT_NEAR(inSpan, 20000 / 3.0, 400);
  EXPECT_EQ(browser.value("document.querySelectorAll('#plot .chosen').length"), 1);
  EXPECT_NE(browser.value("location.hash").get<std::string>().find("from=2026-"), std::string::npos);
  use("document.getElementById('plot').focus()");
  browser.press("Escape");
  EXPECT_EQ(count(), "20,000 events");

  // A letter costs a fraction of a second, on a busy machine some seconds; rows made anew each time would cost minutes.
  EXPECT_LT(browser.value("(() => {const i = document.getElementById('words'); const begin = performance.now(); for "
                          "(const text of ['e', 'ev', 'eve', '7', '77']) {i.value = text; location.hash; "
                          "i.dispatchEvent(new Event('input'))} return new Promise(done => requestAnimationFrame(() => "
                          "setTimeout(() => done(performance.now() - begin), 0)))})()"),
            30000);
  EXPECT_EQ(browser.value("document.querySelectorAll('.row').length > 5"), true);
}

TEST_F(ReportTest, IsUsedByKeysInBothThemesAndOnPaper)
{
  put("a.xml", manyEvents(300));
  ASSERT_EQ(run("qvctl log report a.xml -o page.html && stat -c %a page.html").out, "644\n");
  tool::Browser browser;
  browser.load(url("#words=number&sort=-id&event=299"));
  EXPECT_EQ(browser.value("document.querySelector('#details pre.text').textContent"), "Event number 299");
  browser.value("document.getElementById('grid').focus()");
  const auto chosen = [&] { return browser.value("document.querySelector('#details pre.text')?.textContent ?? ''"); };
  browser.press("Home");
  EXPECT_EQ(chosen(), "Event number 299");
  browser.press("ArrowDown");
  EXPECT_EQ(chosen(), "Event number 199");
  EXPECT_EQ(browser.value("document.getElementById(document.getElementById('grid').getAttribute("
                          "'aria-activedescendant')).getAttribute('aria-selected')"),
            "true");
  browser.press("End");
  EXPECT_EQ(chosen(), "Event number 0");
  browser.press("Escape");
  EXPECT_EQ(chosen(), "");
  EXPECT_EQ(browser.value("document.getElementById('grid').getAttribute('aria-rowcount')"), "301");

  const auto background = [&] { return browser.value("getComputedStyle(document.documentElement).backgroundColor"); };
  const Json light = background();
  browser.call("Emulation.setEmulatedMedia",
               {{"features", Json::array({{{"name", "prefers-color-scheme"}, {"value", "dark"}}})}});
  browser.value("new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))");
  const Json dark = background();
  EXPECT_NE(light, dark);
  browser.value("document.getElementById('theme').click()");
  EXPECT_EQ(background(), light) << "chosen, whatever the system has";
  browser.setSize(390, 844);
  EXPECT_EQ(browser.value("document.documentElement.scrollWidth"), 390);

  browser.value("dispatchEvent(new Event('beforeprint'))");
  EXPECT_EQ(browser.value("document.querySelectorAll('#paper tbody tr').length"), 300);
  browser.value("dispatchEvent(new Event('afterprint'))");
  EXPECT_EQ(browser.value("document.querySelectorAll('#paper tbody tr').length"), 0);
}

TEST_F(ReportTest, AnEmptyLogHasAPageToo)
{
  put("a.xml", "");
  ASSERT_EQ(run("qvctl log report a.xml -o - >page.html").status, 0);
  tool::Browser browser;
  browser.load(url());
  EXPECT_EQ(browser.value("document.querySelector('.none').textContent"), "The log holds no events.");
  EXPECT_EQ(run("qvctl log report a.xml").status, 2);
  EXPECT_EQ(run("qvctl log report a.xml -o no/page.html").err, "qvctl: no/page.html: No such file or directory\n");
}

}  // namespace
