/* Opens a session, lists the albums with their pictures and downloads the first picture. */
#include <KELOAccess.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Sends a command and says what failed. */
static int command(uint32_t code, tagCommandControlInfo* info, const char* what) {
  uint32_t result = KELOAccessCommand(code, info);
  if (result != kKELOResult_Success) fprintf(stderr, "%s failed: %u\n", what, (unsigned)result);
  return result == kKELOResult_Success;
}

/* The entries of some kinds below a target: *count records, which the caller frees. */
static tagKELO_ItemInfo* list(const char* target, uint32_t kinds, uint32_t* count) {
  tagCommandControlInfo info = {0};
  tagKELO_ItemInfo* items;
  snprintf(info.targetId, sizeof info.targetId, "%s", target);
  info.selectionFlags = kinds;
  info.data = count;
  *count = 0;
  if (!command(kKELOCommand_GetItemsCount, &info, "counting") || *count == 0) return NULL;
  items = calloc(*count, sizeof *items);
  info.entryCount = *count;
  info.data = items;
  if (items == NULL || !command(kKELOCommand_GetItemsList, &info, "listing")) *count = 0;
  return items;
}

static int download(const tagKELO_ItemInfo* item, const char* path) {
  tagCommandControlInfo info = {0};
  tagKELO_DownloadInfo file = {0};
  snprintf(file.url, sizeof file.url, "%s", item->origUrl);
  file.destPath.text = (char*)path; /* read only */
  file.destPath.length = (uint32_t)strlen(path);
  info.entryCount = 1;
  info.data = &file;
  if (!command(kKELOCommand_Download, &info, "downloading") || file.result != 0) return 0;
  printf("%s: %u bytes in %s\n", item->name, (unsigned)file.receivedSize, path);
  return 1;
}

/* Lists every album; the first picture of all goes to `path`. */
static int browse(const char* path) {
  uint32_t albumCount, itemCount, a, i;
  int downloaded = 0;
  tagKELO_ItemInfo* albums =
      list(KELO_ALL_ITEMS_ID, kKELOKind_Album | kKELOKind_SharedAlbum, &albumCount);
  for (a = 0; a < albumCount; ++a) {
    tagKELO_ItemInfo* items = list(albums[a].itemId, kKELOKind_FileItem, &itemCount);
    printf("%s\n", albums[a].name);
    for (i = 0; i < itemCount; ++i) printf("  %s  %s\n", items[i].name, items[i].shotDate);
    if (itemCount > 0 && !downloaded) downloaded = download(&items[0], path);
    free(items);
  }
  free(albums);
  return downloaded;
}

int main(int argc, char** argv) {
  tagCommandControlInfo info = {0};
  tagKELO_OpenSessionInfo opening = {0};
  int done;
  if (argc != 5) {
    fprintf(stderr, "usage: browse API-KEY AUTH-TOKEN SECRET FILE\n");
    return 2;
  }
  snprintf(info.apiKey, sizeof info.apiKey, "%s", argv[1]);
  snprintf(info.authToken, sizeof info.authToken, "%s", argv[2]);
  snprintf(info.signingSecret, sizeof info.signingSecret, "%s", argv[3]);
  info.data = &opening;

  if (KELOAccessInitialize(0) != kKELOResult_Success) return 1;
  done = command(kKELOCommand_OpenSession, &info, "opening the session") &&
         command(kKELOCommand_LoadHierarchy, NULL, "loading the account") && browse(argv[4]);
  if (done) done = command(kKELOCommand_CloseSession, NULL, "closing the session");
  KELOAccessClose();
  return done ? 0 : 1;
}
