// SPDX-License-Identifier: MIT
// One photo on the stage: what is there already first, then the size for screens, then the original where a large screen shows the
// difference.
import { useEffect, useRef, useState } from 'preact/hooks';
import { photoName, t } from '../core/language';
import { type Content, sized } from '../core/records';

/** What every browser draws. */
const DRAWABLE = new Set(['jpeg', 'png', 'webp', 'gif']);
const ATTEMPTS = 4;
/** A photo that is only passed by is not fetched as a whole. */
const LINGERED = 500;

interface Props {
  content: Content;
  /** -1 beside the stage on its left, 0 on it, 1 on its right. */
  place: number;
}

/** Whether the original has dots that the screen can show and the largest rendition lacks; a moving picture moves only there. */
function wantsOriginal(content: Content, image: HTMLImageElement): boolean {
  if (!DRAWABLE.has(content.format)) return false;
  if (content.format === 'gif') return true;
  const dots = Math.max(image.clientWidth, image.clientHeight) * window.devicePixelRatio;
  const had = Math.max(image.naturalWidth, image.naturalHeight);
  const has = Math.max(content.resolution?.width ?? 0, content.resolution?.height ?? 0);
  return dots > had * 1.25 && has > had * 1.25;
}

export function Slide({ content, place }: Props) {
  const image = useRef<HTMLImageElement>(null);
  const [source, setSource] = useState(sized(content, 'large'));
  const [loaded, setLoaded] = useState(false);
  const [failures, setFailures] = useState(0);

  useEffect(() => {
    if (failures === 0 || failures >= ATTEMPTS) return undefined;
    const timer = setTimeout(() => {
      const address = sized(content, 'large');
      setSource('');
      requestAnimationFrame(() => setSource(address));
    }, 1200 * failures);
    return () => clearTimeout(timer);
  }, [failures]);

  useEffect(() => {
    if (place !== 0 || !loaded || source === content.url || image.current === null) return undefined;
    if (!wantsOriginal(content, image.current)) return undefined;
    const original = new Image();
    const timer = setTimeout(() => {
      original.onload = () => setSource(content.url);
      original.src = content.url;
    }, LINGERED);
    return () => {
      clearTimeout(timer);
      original.onload = null;
      original.removeAttribute('src');
    };
  }, [place, loaded, source]);

  const failed = failures >= ATTEMPTS;
  return (
    <div class="slide" style={{ transform: `translateX(${place * 100}%)` }} aria-hidden={place === 0 ? undefined : 'true'}>
      {!loaded && <img class="slide-under" src={sized(content, 'medium')} alt="" draggable={false} />}
      <img
        ref={image}
        class={loaded ? 'slide-picture there' : 'slide-picture'}
        src={source === '' ? undefined : source}
        alt={place === 0 ? photoName(content) : ''}
        decoding="async"
        draggable={false}
        onLoad={() => setLoaded(true)}
        onError={() => setFailures(failures + 1)}
      />
      {failed && !loaded && <p class="slide-failed">{t('pictureFailed')}</p>}
    </div>
  );
}
