"""A page in a headless browser of its own, asked and changed by expressions of its language."""
import json
import shutil

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

WAIT = 120  # seconds for anything: a machine may be busy
OPTIONS = ["--headless=new", "--no-sandbox",  # CI runs as root
           "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1280,800"]


class Page:
    def __init__(self, url):
        options = webdriver.ChromeOptions()
        for option in OPTIONS:
            options.add_argument(option)
        # Named, since newer versions else look for it with a program that Debian does not have.
        driver = Service(shutil.which("chromedriver"))
        self.driver = webdriver.Chrome(service=driver, options=options)
        self.driver.set_script_timeout(WAIT)
        self.call("Browser.grantPermissions",
                  permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.driver.get(url)

    def call(self, method, **parameters):
        """A command of the browser's own protocol."""
        return self.driver.execute_cdp_cmd(method, parameters)

    def value(self, expression):
        """The value of an expression (or what its promise comes to)."""
        return self.driver.execute_script(f"return ({expression})")

    def wait(self, expression):
        """Waits until the expression is something; gives it."""
        said = "in vain: " + expression
        return WebDriverWait(self.driver, WAIT, 0.02, [WebDriverException]).until(
            lambda _: self.value(expression), said)

    def click(self, selector):
        """Clicks an element as soon as it is there."""
        self.wait(f"(document.querySelector({json.dumps(selector)}).click(), true)")

    def key(self, name):
        ActionChains(self.driver).send_keys(getattr(Keys, name)).perform()

    def press(self, selector):
        """The mouse button, in the middle of an element."""
        ActionChains(self.driver).click(self.driver.find_element(By.CSS_SELECTOR, selector)).perform()

    def close(self):
        self.driver.quit()
