/* Uploads pictures into a new album, gives them captions and shares the album by mail. Ctrl-C
 * aborts.
 *
 *   cc transfer.c $(pkg-config --cflags --libs tVQAccess2) -lstdc++ -pthread
 */
#define _POSIX_C_SOURCE 200809L

#include <KELOAccess/Words.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

/* Says what failed, and what about. */
static int failed(uint32_t code, uint32_t result, const char* about) {
  fprintf(stderr, "%s: cannot %s: %s (%u)\n", about, KELOCommandWords(code),
          KELOResultWords(result, code), (unsigned)result);
  return 0;
}

/* Sends a command that reads one record. */
static int command(uint32_t code, tagCommandControlInfo* info, void* data, const char* about) {
  uint32_t result;
  info->data = data;
  info->entryCount = 1;
  result = KELOAccessCommand(code, info);
  return result == kKELOResult_Success || failed(code, result, about);
}

static tagKELO_StringInfo lent(const char* text) {
  tagKELO_StringInfo info = {(char*)text, (uint32_t)strlen(text)}; /* read only */
  return info;
}

/* Another thread waits for Ctrl-C. An abort between two commands leaves no trace, so it is sent
 * until SIGUSR1 says that the work is over. */
static void* watch(void* unused) {
  const struct timespec pause = {0, 50000000};
  sigset_t signals, over;
  int arrived = 0;
  (void)unused;
  sigemptyset(&over);
  sigaddset(&over, SIGUSR1);
  signals = over;
  sigaddset(&signals, SIGINT);
  sigwait(&signals, &arrived);
  if (arrived == SIGUSR1) return NULL;
  do KELOAccessCommand(kKELOCommand_Abort, NULL);
  while (sigtimedwait(&over, NULL, &pause) != SIGUSR1);
  return NULL;
}

static uint32_t report(uint32_t event, uint32_t kind, const tagKELO_ProgressInfo* progress) {
  (void)kind;
  if (event == kKELOEvent_UploadProgress)
    fprintf(stderr, "%u of %u bytes\n", (unsigned)progress->transferDone,
            (unsigned)progress->transferTotal);
  return 0;
}

static int start(const char* key, const char* token, const char* secret) {
  tagCommandControlInfo info = {0};
  tagKELO_OpenSessionInfo opening = {0};
  const KELOAccessEventCallback callback = report;
  void* pointer;
  memcpy(&pointer, &callback, sizeof pointer); /* no cast leads from a function to void* */
  info.selectionFlags = kKELOEventMask_Progress;
  if (!command(kKELOCommand_RegisterEventCallBack, &info, pointer, "service")) return 0;
  snprintf(info.apiKey, sizeof info.apiKey, "%s", key);
  snprintf(info.authToken, sizeof info.authToken, "%s", token);
  snprintf(info.signingSecret, sizeof info.signingSecret, "%s", secret);
  return command(kKELOCommand_OpenSession, &info, &opening, "service");
}

/* Makes the album, and writes its id. */
static int make_album(const char* name, char* id) {
  tagCommandControlInfo info = {0}; /* in the root folder */
  tagKELO_ItemInfo album = {0};
  album.kind = kKELOKind_Album;
  snprintf(album.name, sizeof album.name, "%s", name);
  if (!command(kKELOCommand_AddItems, &info, &album, name)) return 0;
  if (album.result != kKELOResult_Success) return failed(kKELOCommand_AddItems, album.result, name);
  memcpy(id, album.itemId, KELO_ID_FIELD_SIZE);
  return 1;
}

/* Dates are those of the file's last change, in UTC. */
static int describe(const char* path, tagKELO_LoadInfo* file) {
  struct stat found;
  struct tm changed;
  if (stat(path, &found) != 0 || gmtime_r(&found.st_mtime, &changed) == NULL)
    return failed(kKELOCommand_Upload, kKELOResult_NotFound, path);
  if (found.st_size > INT32_MAX) return failed(kKELOCommand_Upload, kKELOResult_TooLarge, path);
  file->filePath = lent(path);
  file->fileSize = (int32_t)found.st_size;
  strftime(file->fileModifyDate, sizeof file->fileModifyDate, "%Y-%m-%dT%H:%M:%SZ", &changed);
  memcpy(file->fileCreateDate, file->fileModifyDate, sizeof file->fileCreateDate);
  return 1;
}

/* All files go in one request. A failed command tells nothing of its records; else each has its own
 * result, and an id if the service confirms that it has the file. */
static int upload(const char* album, tagKELO_LoadInfo* files, uint32_t count) {
  tagCommandControlInfo info = {0};
  uint32_t result, i;
  int all = 1;
  snprintf(info.targetId, sizeof info.targetId, "%s", album);
  info.data = files;
  info.entryCount = count;
  info.outputOptions = kKELOOption_CheckDuplicates;
  info.selectionFlags = kKELOCheck_FileModifyDate;
  result = KELOAccessCommand(kKELOCommand_Upload, &info);
  if (result != kKELOResult_Success) return failed(kKELOCommand_Upload, result, "all files");
  for (i = 0; i < count; ++i) {
    const char* path = files[i].filePath.text;
    if (files[i].result != kKELOResult_Success) {
      all = failed(kKELOCommand_Upload, files[i].result, path);
    } else if (files[i].itemId[0] == '\0') {
      fprintf(stderr, "%s: not confirmed by the service\n", path);
      all = 0;
    } else {
      printf("%s: stored\n", path);
    }
  }
  return all;
}

static int caption(const tagKELO_LoadInfo* file, const char* text) {
  tagCommandControlInfo info = {0};
  tagKELO_PropertyInfo edits = {0};
  if (file->itemId[0] == '\0') return 1; /* told already */
  snprintf(info.targetId, sizeof info.targetId, "%s", file->itemId);
  snprintf(edits.caption, sizeof edits.caption, "%s", text);
  edits.propertyMask = kKELOProperty_Caption;
  return command(kKELOCommand_ModifyProps, &info, &edits, file->filePath.text);
}

/* Whom the service rejects is told in texts that are ours to free, whatever became of the mail. */
static int share(const char* album, const char* name, const char* addresses) {
  tagCommandControlInfo info = {0};
  tagKELO_PictureMailInfo mail = {0};
  int sent;
  snprintf(info.targetId, sizeof info.targetId, "%s", album);
  info.outputOptions = kKELOOption_VerifyRecipients | kKELOOption_ReturnTexts;
  mail.recipients = lent(addresses);
  mail.subject = lent(name);
  mail.body = lent("New pictures.");
  mail.removeGPS = 1;
  sent = command(kKELOCommand_SendPictureMail, &info, &mail, addresses);
  if (mail.accepted.text != NULL && sent) printf("mail to %s\n", mail.accepted.text);
  if (mail.rejected.text != NULL) fprintf(stderr, "no mail to %s\n", mail.rejected.text);
  sent = sent && mail.status == kKELOResult_Success;
  KELOFreeText(&mail.accepted);
  KELOFreeText(&mail.rejected);
  return sent;
}

static int work(char** arguments, tagKELO_LoadInfo* files, uint32_t count) {
  char album[KELO_ID_FIELD_SIZE];
  uint32_t i;
  int done = start(arguments[0], arguments[1], arguments[2]);
  for (i = 0; done && i < count; ++i) done = describe(arguments[5 + i], &files[i]);
  if (!done || !make_album(arguments[3], album)) return 0;
  done = upload(album, files, count);
  for (i = 0; i < count; ++i) done &= caption(&files[i], arguments[3]);
  if (done) done = share(album, arguments[3], arguments[4]);
  if (done) {
    tagCommandControlInfo none = {0};
    done = command(kKELOCommand_CloseSession, &none, NULL, "service");
  }
  return done;
}

int main(int argc, char** argv) {
  const uint32_t count = argc < 7 ? 0 : (uint32_t)(argc - 6);
  tagKELO_LoadInfo* files = calloc(count + 1, sizeof *files);
  sigset_t signals;
  pthread_t watcher;
  int done;
  if (count == 0 || files == NULL) {
    fprintf(stderr, "usage: transfer API-KEY AUTH-TOKEN SECRET ALBUM ADDRESSES FILE...\n");
    return 2;
  }
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, NULL); /* so that the other thread gets them */
  if (KELOAccessInitialize(0) != kKELOResult_Success ||
      pthread_create(&watcher, NULL, watch, NULL) != 0)
    return 1;
  done = work(argv + 1, files, count);
  pthread_kill(watcher, SIGUSR1);
  pthread_join(watcher, NULL); /* no abort behind the end */
  KELOAccessClose();
  free(files);
  return done ? 0 : 1;
}
