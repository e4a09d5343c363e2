'use strict';

class StreamIsOver extends Error {
  constructor() { super('The server has forgotten this stream.'); }
}

// Feeds a media element with a stream that the server converts: part after part, a little ahead of
// where the viewer is, from wherever the viewer seeks. Where Media Source Extensions are missing, the
// element takes the play list itself.
class LiveFeed {
  static ahead = 30; // seconds
  static behind = 60;
  static tries = 20;

  // onTrouble gets a sentence, or nothing once it is over; onFailure gets one when nothing more comes,
  // and whether another stream would go on: a server that was started again knows nothing of this one.
  // What the element itself cannot decode is an error of the element.
  constructor(media, stream, { onTrouble, onFailure = onTrouble }) {
    this.media = media;
    this.stream = stream;
    this.onTrouble = onTrouble;
    this.onFailure = onFailure;
    this.latest = -1; // the part that was taken last
    this.closed = false;
    this.abort = null;
    this.wake = () => {};
    this.listeners = [];
  }

  static canPlay(media, stream) {
    return LiveFeed.hasSources(stream) || media.canPlayType('application/vnd.apple.mpegurl') !== '';
  }

  static hasSources(stream) {
    return 'MediaSource' in window && MediaSource.isTypeSupported(stream.mediaType);
  }

  start() {
    if (!LiveFeed.hasSources(this.stream)) {
      this.media.src = this.stream.playlist;
      return;
    }
    this.source = new MediaSource();
    this.url = URL.createObjectURL(this.source);
    this.listen(this.source, 'sourceopen', () => { if (!this.buffer) this.run(); });
    this.listen(this.media, 'seeking', () => this.seek());
    this.listen(this.media, 'timeupdate', () => this.wake());
    this.media.src = this.url;
  }

  listen(target, event, handler) {
    target.addEventListener(event, handler);
    this.listeners.push(() => target.removeEventListener(event, handler));
  }

  close() {
    this.closed = true;
    for (const remove of this.listeners) remove();
    if (this.abort) this.abort.abort();
    this.wake();
    if (this.url) URL.revokeObjectURL(this.url);
    fetch(`/api/streams/${this.stream.id}`, { method: 'DELETE', keepalive: true }).catch(() => {});
  }

  // The part with that time in it.
  partAt(seconds) {
    let number = 0;
    for (let step = 1 << 20; step > 0; step >>= 1) {
      if (number + step < this.stream.parts && this.stream.startsMs[number + step] <= seconds * 1000) number += step;
    }
    return number;
  }

  // What this browser plays of what could be copied.
  static plays(media, types) {
    const isPlayed = type => ('MediaSource' in window ? MediaSource.isTypeSupported(type) : media.canPlayType(type) !== '');
    return types.filter(type => type && isPlayed(type));
  }

  // The end of what is there from this time on; the time itself when nothing is.
  bufferedUntil(time) {
    const ranges = this.buffer.buffered;
    for (let index = 0; index < ranges.length; ++index) {
      if (ranges.start(index) - 0.3 <= time && time < ranges.end(index)) return ranges.end(index);
    }
    return time;
  }

  seek() {
    if (this.buffer && this.bufferedUntil(this.media.currentTime) === this.media.currentTime && this.abort) this.abort.abort();
    this.wake();
  }

  async load(address) {
    for (let attempt = 0; !this.closed; ++attempt) {
      this.abort = new AbortController();
      let wait = 1.5;
      try {
        const reply = await fetch(address, { cache: 'no-store', signal: this.abort.signal });
        if (reply.ok) {
          const bytes = await reply.arrayBuffer();
          this.onTrouble('');
          return bytes;
        }
        if (reply.status === 410) throw new StreamIsOver();
        if (reply.status !== 503 || attempt === LiveFeed.tries) return null;
        this.onTrouble((await reply.json()).error);
        wait = Number(reply.headers.get('Retry-After') || 1);
      } catch (error) {
        if (error.name === 'AbortError' || error instanceof StreamIsOver) throw error;
        attempt = 0;
        if (!this.closed) this.onTrouble('The server does not answer. Trying again…');
      }
      await new Promise(resolve => setTimeout(resolve, 1000 * wait));
    }
    return null;
  }

  change(action) {
    return new Promise((resolve, reject) => {
      this.buffer.addEventListener('updateend', resolve, { once: true });
      this.buffer.addEventListener('error', () => reject(new Error('The stream cannot be decoded.')), { once: true });
      action();
    });
  }

  async append(bytes) {
    const old = this.media.currentTime - LiveFeed.behind;
    if (old > 0 && this.buffer.buffered.length && this.buffer.buffered.start(0) < old) await this.change(() => this.buffer.remove(0, old));
    await this.change(() => this.buffer.appendBuffer(bytes));
  }

  async run() {
    try {
      this.buffer = this.source.addSourceBuffer(this.stream.mediaType);
      this.source.duration = this.stream.durationMs / 1000;
      const head = await this.load(this.stream.init);
      if (!head) throw new Error('This file cannot be converted.');
      await this.append(head);
      while (!this.closed) await this.step();
    } catch (error) {
      if (!this.closed) this.onFailure(error.message, error instanceof StreamIsOver);
    }
  }

  async step() {
    const time = this.media.currentTime;
    const until = this.bufferedUntil(time);
    let number = this.partAt(until + 0.15);
    // The sound that belongs to the last pictures of a part may be in the next one.
    if (number === this.latest && [time, time - 0.5].some(at => this.bufferedUntil(at) > at)) ++number;
    const ended = number >= this.stream.parts || this.missing === number;
    if (ended && this.source.readyState === 'open') this.source.endOfStream();
    if (ended || until - time > LiveFeed.ahead) {
      await new Promise(resolve => { this.wake = resolve; });
      return;
    }
    try {
      const bytes = await this.load(`${this.stream.part}${number}.m4s`);
      if (this.closed) return;
      if (bytes) {
        await this.append(bytes);
        this.latest = number;
      } else if (this.stream.copied.length) {
        throw new Error('A part of this film cannot be read.');
      } else {
        this.missing = number; // shorter than it said
      }
    } catch (error) {
      if (error.name !== 'AbortError') throw error; // else somebody seeked
    }
  }
}
