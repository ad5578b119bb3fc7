// SPDX-License-Identifier: MIT
// Rows of photos in a feed. A row is drawn again only when one of its photos, its place or its size is another.
import { Component, createRef } from 'preact';
import { dropImage, wantImage } from '../../common/imageQueue';
import { photoName, t } from '../core/language';
import { type Content, sized } from '../core/records';
import { photoPath } from '../core/routes';
import { Icon } from './Icon';

/** The small size is sharp up to this many of the screen's own dots. */
const SMALL_DOTS = 90;

interface TileProps {
  content: Content;
  index: number;
  side: number;
}

export class Tile extends Component<TileProps> {
  private readonly image = createRef<HTMLImageElement>();
  private address = '';

  override componentDidMount(): void {
    this.show();
  }

  override componentDidUpdate(): void {
    this.show();
  }

  override componentWillUnmount(): void {
    if (this.image.current !== null) dropImage(this.image.current);
  }

  override shouldComponentUpdate(next: TileProps): boolean {
    const { content, index, side } = this.props;
    return next.content !== content || next.index !== index || next.side !== side;
  }

  private show(): void {
    const { content, index, side } = this.props;
    const address = sized(content, side * window.devicePixelRatio <= SMALL_DOTS ? 'small' : 'medium');
    if (address === this.address || this.image.current === null) return;
    this.address = address;
    wantImage(this.image.current, address, index);
  }

  render() {
    const { content, index } = this.props;
    return (
      <a
        class="tile"
        href={photoPath(content.group, content.id)}
        aria-label={photoName(content)}
        aria-description={content.comment_count > 0 ? t('commentCount', { count: content.comment_count }) : undefined}
        data-index={index}
        data-id={content.id}
        draggable={false}
      >
        <img ref={this.image} alt="" draggable={false} />
      </a>
    );
  }
}

interface RowProps {
  /** The index of the first photo. */
  first: number;
  /** How many photos of its month stand before it, and how many there are in all. */
  before: number;
  count: number;
  top: number;
  side: number;
  /** Undefined where one has not come yet. */
  photos: ReadonlyArray<Content | undefined>;
}

export class Row extends Component<RowProps> {
  override shouldComponentUpdate(next: RowProps): boolean {
    const { first, count, top, side, photos } = this.props;
    if (next.first !== first || next.count !== count || next.top !== top || next.side !== side || next.photos.length !== photos.length) return true;
    return next.photos.some((photo, at) => photo !== photos[at]);
  }

  render() {
    const { first, before, count, top, side, photos } = this.props;
    return (
      <div class="row" style={{ transform: `translateY(${top}px)` }}>
        {photos.map((photo, at) =>
          photo === undefined ? (
            <div class="cell" key={`empty${first + at}`}>
              <span class="tile" />
            </div>
          ) : (
            <div class="cell" role="listitem" aria-posinset={before + at + 1} aria-setsize={count} key={photo.id}>
              <Tile content={photo} index={first + at} side={side} />
              {photo.comment_count > 0 && (
                <span class="tile-comments" aria-hidden="true">
                  <Icon name="comment" />
                  {photo.comment_count}
                </span>
              )}
            </div>
          ),
        )}
      </div>
    );
  }
}
