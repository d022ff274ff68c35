// A moving picture: reads motion JPEG and draws each picture as it comes. A stream that ends, breaks off or
// falls silent is asked for again, and nothing old is shown meanwhile. Nobody looks at a hidden page, so it
// takes no pictures.

const RETRY_DELAY = 1000; // ms
const LARGEST = 16 * 1024 * 1024; // bytes of one picture
const SILENCE = 5000; // ms without a byte after which a stream counts as broken

const delay = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

export class MotionPicture {
  #canvas;
  #address = null;
  #attempt = null; // an AbortController

  constructor(canvas) {
    this.#canvas = canvas;
    document.addEventListener("visibilitychange", () => this.#follow());
  }

  // Shows what is served at this address, nothing until it comes.
  show(address) {
    this.#address = address;
    this.#canvas.hidden = true;
    this.#follow();
  }

  async #follow() {
    this.#attempt?.abort();
    this.#attempt = null;
    while (this.#address !== null && this.#attempt === null && !document.hidden) {
      const attempt = (this.#attempt = new AbortController());
      const mayCome = await this.#read(attempt);
      if (this.#attempt !== attempt) return; // another one is under way
      this.#canvas.hidden = true;
      if (!mayCome) return;
      await delay(RETRY_DELAY);
      if (this.#attempt !== attempt) return;
      this.#attempt = null;
    }
  }

  // Draws what comes until it ends; whether it is worth to ask again.
  async #read(attempt) {
    const silence = new Alarm(SILENCE, () => attempt.abort());
    try {
      const answer = await fetch(this.#address, { signal: attempt.signal, cache: "no-store" });
      if (answer.status === 404) return false; // no such camera
      if (answer.ok) await forEachPart(answer.body, () => silence.restart(), (jpeg) => this.#draw(jpeg, attempt));
    } catch {
      // away, broken off, no picture: all the same
    } finally {
      attempt.abort();
      silence.stop();
    }
    return true;
  }

  async #draw(jpeg, attempt) {
    const picture = await createImageBitmap(new Blob([jpeg], { type: "image/jpeg" }));
    if (attempt === this.#attempt) {
      const canvas = this.#canvas;
      if (canvas.width !== picture.width) canvas.width = picture.width;
      if (canvas.height !== picture.height) canvas.height = picture.height;
      canvas.getContext("2d").drawImage(picture, 0, 0);
      canvas.hidden = false;
    }
    picture.close();
  }
}

// Calls back unless it is restarted or stopped in time.
class Alarm {
  #time;
  #ring;
  #timer;

  constructor(time, ring) {
    [this.#time, this.#ring] = [time, ring];
    this.restart();
  }

  restart() {
    clearTimeout(this.#timer);
    this.#timer = setTimeout(this.#ring, this.#time);
  }

  stop() {
    clearTimeout(this.#timer);
  }
}

// Hands on the body of each part of a multipart stream. Each part tells its length.
async function forEachPart(stream, heard, take) {
  const reader = stream.getReader();
  let rest = new Uint8Array(0);
  const more = async () => {
    const { done, value } = await reader.read();
    if (done || rest.length > LARGEST) throw new Error(done ? "the stream has ended" : "no end of a part");
    heard();
    const joined = new Uint8Array(rest.length + value.length);
    joined.set(rest);
    joined.set(value, rest.length);
    rest = joined;
  };
  for (;;) {
    let end;
    while ((end = endOfHead(rest)) < 0) await more();
    const length = Number(/^content-length:\s*(\d+)\s*$/im.exec(new TextDecoder("latin1").decode(rest.subarray(0, end)))?.[1]);
    if (!(length > 0)) throw new Error("a part without a length");
    while (rest.length < end + length) await more();
    const part = rest.slice(end, end + length);
    rest = rest.slice(end + length);
    await take(part);
  }
}

// Where the empty line behind the part's headers ends; -1 when it has not come yet.
function endOfHead(bytes) {
  for (let at = bytes.indexOf(10); at >= 0; at = bytes.indexOf(10, at + 1)) {
    if (bytes[at + 1] === 13 && bytes[at + 2] === 10) return at + 3;
  }
  return -1;
}
