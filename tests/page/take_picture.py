#!/usr/bin/env python3
"""Takes the picture of the page for the documents: take_picture.py SERVICE SAMPLES FILE.png"""
import base64
import sys

from browser import Browser
from service import Client, Service


def play(service):
    """A little of everything: changes, a failure, a fault, a mail."""
    client = Client(service)
    client.call("<GetUserArchiveInfo />")
    items = {item["name"]: item["id"] for item in service.account()["items"]}
    for name, caption, rating, tags in [
            ("dawn.jpg", "First light over the bay", 5, "sea,morning"),
            ("rosebed.jpg", "After the rain", 4, "garden"),
            ("tram.jpg", "Line 28", 3, "city,tram")]:
        client.call(f'<ModifyProps itemIdList="{items[name]}">\r\n<property name="caption"'
                    f' value="{caption}" />\r\n<property name="rating" value="{rating}" />\r\n'
                    '</ModifyProps>')
        client.call(f'<AddTags itemIdList="{items[name]}" tagList="{tags}" />')
    garden = next(a["id"] for a in service.account()["albums"] if a["name"] == "Garden")
    client.call(f'<ShareAlbum albumId="{garden}" recipientList="mailto:anna@friends.example"'
                ' subjectText="Roses" bodyText="Look at these" removeGPSInfo="true" />')
    client.call("<GetStorageCapacity />", secret="wrong")
    client.send("GET", f"/P2PwebCmdController/download/screen/{items['dawn.jpg']}")
    service.control("POST", "/control/faults", '{"add": "GetAddressList:status=503,times=1"}')
    client.call("<GetAddressList />")
    client.call("<GetAddressList />")


def main():
    program, samples, file = sys.argv[1:]
    service = Service(program, "--import", f"{samples}/mine",
                      "--friend", f"{samples}/friend/Anna's birthday")
    play(service)
    browser = Browser()
    page = browser.open(service.page)
    page.call("Emulation.setDeviceMetricsOverride", width=1280, height=640, deviceScaleFactor=1,
              mobile=False)
    page.wait("document.querySelectorAll('canvas[data-painted=true]').length >= 7 &&"
              " document.querySelectorAll('#requests .row').length >= 12")
    picture = page.call("Page.captureScreenshot", format="png")["data"]
    with open(file, "wb") as out:
        out.write(base64.b64decode(picture))
    browser.close()
    service.stop()


main()
